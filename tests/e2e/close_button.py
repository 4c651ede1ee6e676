"""The close button of a window's frame.

There is no window manager here to draw one; what the button does is to send the window the message below.
"""

import ctypes

from screen import xdotool

CLIENT_MESSAGE = 33


class ClientMessage(ctypes.Structure):
    """XClientMessageEvent, filled up to the size of XEvent."""

    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                ("format", ctypes.c_int), ("data", ctypes.c_long * 5), ("rest", ctypes.c_long * 24)]


def press(pid, title):
    """Asks the visible window of the process with this title to close."""
    window = int(xdotool("search", "--all", "--onlyvisible", "--pid", pid, "--name", f"^{title}$").split()[0])
    x11 = ctypes.CDLL("libX11.so.6")
    x11.XOpenDisplay.restype = ctypes.c_void_p
    x11.XInternAtom.restype = ctypes.c_ulong
    x11.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
    x11.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long, ctypes.c_void_p]
    x11.XCloseDisplay.argtypes = [ctypes.c_void_p]
    display = x11.XOpenDisplay(None)
    if not display:
        raise RuntimeError("no X server")
    message = ClientMessage(type=CLIENT_MESSAGE, window=window, format=32,
                            message_type=x11.XInternAtom(display, b"WM_PROTOCOLS", 0))
    message.data[0] = x11.XInternAtom(display, b"WM_DELETE_WINDOW", 0)
    x11.XSendEvent(display, window, 0, 0, ctypes.byref(message))
    x11.XCloseDisplay(display)
