"""The content of the screen, and the mouse.

The window has no window manager here: it lies at the screen's corner in its own size, so that each
control has a fixed place. All places are in one table, and check_layout() uses their colours to find controls
that have moved.
"""

import ctypes
import re
import subprocess
import time

from waiting import wait_for

WINDOW = (0, 0, 1350, 835)

# Colours of the window.
BLACK = (0, 0, 0)
SOIL = (25, 25, 25)
LIME = (217, 255, 66)
RED = (255, 87, 87)
GREEN = (45, 210, 140)
BLUE = (0, 190, 255)
LIGHT = (242, 242, 242)  # texts and icons
FRAME = (194, 194, 194)  # of lists

# Rectangles x, y, width, height within the main window while it is idle.
CONTROLS = {
    "camera list": (25, 130, 180, 22),
    "refresh": (216, 132, 18, 18),
    "accel": (0, 172, 254, 54),
    "gyro": (0, 226, 254, 54),
    "orient": (0, 280, 254, 54),
    "baro": (0, 334, 254, 54),
    "mag": (0, 388, 254, 54),
    "temper": (0, 442, 254, 54),
    "calib": (0, 781, 254, 54),
    "sensor title": (295, 98, 400, 20),
    "sensor rate": (295, 478, 200, 18),
    "values": (440, 477, 590, 18),
    "chart": (295, 500, 1035, 320),
    "time range": (1065, 477, 140, 18),
    "record": (1211, 477, 95, 18),
    "gear": (1312, 478, 18, 18),
}

# Of the recording options, from the dialog's corner.
OPTIONS = {
    "folder": (452, 20, 28, 24),
    "accelerometer": (34, 91, 16, 16),
    "gyroscope": (254, 91, 16, 16),
    "magnetometer": (34, 117, 16, 16),
    "orientation": (254, 117, 16, 16),
    "barometer": (34, 143, 16, 16),
    "temperatures": (254, 143, 16, 16),
    "movement": (34, 169, 16, 16),
    "sample_freq": (255, 210, 225, 23),
    "ok": (125, 280, 120, 20),
    "cancel": (255, 280, 120, 20),
}

# How to recognise that a control is at its place: a colour (None: any but the background) and the least share of
# its rectangle that has it. Around the rectangle there must be little of it; for a label, above and below
# the text.
LANDMARKS = {
    "camera list": (FRAME, 0.08), "refresh": (None, 0.2), "accel": (LIME, 0.8), "gyro": (None, 0.01),
    "orient": (None, 0.01), "time range": (FRAME, 0.09), "record": (LIME, 0.6), "gear": (None, 0.4),
}
LABELS = ("gyro", "orient")
OPTION_LANDMARKS = {
    "folder": (None, 0.2), "accelerometer": (LIME, 0.4), "gyroscope": (LIME, 0.4), "magnetometer": (LIME, 0.4),
    "orientation": (LIME, 0.4), "barometer": (LIME, 0.4), "temperatures": (LIME, 0.4), "movement": (LIME, 0.4),
    "sample_freq": (FRAME, 0.08), "ok": (LIME, 0.6), "cancel": (LIME, 0.6),
}

AWAY = (700, 30)  # over the header, where nothing reacts to the pointer


class _Image(ctypes.Structure):
    """The beginning of Xlib's XImage."""
    _fields_ = [(name, ctypes.c_int) for name in ("width", "height", "xoffset", "format")] + \
        [("data", ctypes.POINTER(ctypes.c_ubyte))] + \
        [(name, ctypes.c_int) for name in ("byte_order", "bitmap_unit", "bitmap_bit_order", "bitmap_pad", "depth",
                                           "bytes_per_line", "bits_per_pixel")] + \
        [(name, ctypes.c_ulong) for name in ("red_mask", "green_mask", "blue_mask")]


def _xlib():
    """Xlib with the types of the functions that are called here."""
    library = ctypes.CDLL("libX11.so.6")
    handle, number = ctypes.c_void_p, ctypes.c_ulong
    library.XOpenDisplay.restype = handle
    library.XDefaultRootWindow.argtypes, library.XDefaultRootWindow.restype = [handle], number
    library.XGetImage.argtypes = [handle, number, ctypes.c_int, ctypes.c_int, ctypes.c_uint, ctypes.c_uint, number,
                                  ctypes.c_int]
    library.XGetImage.restype = ctypes.POINTER(_Image)
    for name in ("XDisplayWidth", "XDisplayHeight"):
        getattr(library, name).argtypes = [handle, ctypes.c_int]
    library.XDestroyImage.argtypes = [ctypes.POINTER(_Image)]
    return library


class _Screen:
    """The X server's screen. Read within this process: a program that does the same takes five times as long."""
    ALL_PLANES, Z_PIXMAP = 0xffffff, 2

    def __init__(self):
        self.library = _xlib()
        self.display = self.library.XOpenDisplay(None)
        if not self.display:
            raise RuntimeError("the X server of DISPLAY does not answer")
        self.root = self.library.XDefaultRootWindow(self.display)
        self.width, self.height = (size(self.display, 0) for size in (self.library.XDisplayWidth, self.library.XDisplayHeight))

    def pixels(self):
        """Four bytes a pixel, row by row: blue, green, red and one without a meaning."""
        image = self.library.XGetImage(self.display, self.root, 0, 0, self.width, self.height, self.ALL_PLANES,
                                       self.Z_PIXMAP)
        if not image:
            raise RuntimeError("the X server gives no picture of its screen")
        try:
            form = image.contents
            if (form.bits_per_pixel, form.byte_order, form.red_mask, form.bytes_per_line) != \
                    (32, 0, 0xff0000, 4 * self.width):
                raise RuntimeError(f"a screen of {form.bits_per_pixel} bits a pixel, red {form.red_mask:x}")
            return ctypes.string_at(form.data, 4 * self.width * self.height)
        finally:
            self.library.XDestroyImage(image)


class Picture:
    """Pixels of the screen."""

    screen = None

    def __init__(self, width, height, data):
        self.width, self.height, self.data = width, height, data

    @classmethod
    def take(cls):
        if cls.screen is None:
            cls.screen = _Screen()
        return cls(cls.screen.width, cls.screen.height, cls.screen.pixels())

    def _planes(self, area):
        """Red, green and blue of each row of a rectangle. The tests look again and again until something appears:
        only what they look at is taken apart."""
        x, y, width, height = area
        for row in range(y, y + height):
            pixels = self.data[4 * (row * self.width + x):4 * (row * self.width + x + width)]
            yield pixels[2::4], pixels[1::4], pixels[0::4]

    def crop(self, area):
        """The pixels of a rectangle, three bytes each, row by row."""
        rows = []
        for planes in self._planes(area):
            row = bytearray(3 * area[2])
            for place, plane in enumerate(planes):
                row[place::3] = plane
            rows.append(bytes(row))
        return rows

    def _hits(self, area, colour, tolerance):
        """The rows of a rectangle with 1 for each pixel of the colour and 0 for each other one."""
        near = [bytes(abs(value - wanted) <= tolerance for value in range(256)) for wanted in colour]
        for planes in self._planes(area):
            red, green, blue = (int.from_bytes(plane.translate(table), "big") for plane, table in zip(planes, near))
            yield (red & green & blue).to_bytes(area[2], "big")

    def share(self, area, colour, tolerance=14):
        """Which part of the rectangle has the colour; None: any but the background's."""
        share = sum(row.count(1) for row in self._hits(area, colour or SOIL, tolerance)) / (area[2] * area[3])
        return share if colour else 1.0 - share

    def bounds(self, area, colour, least, tolerance=14):
        """The smallest rectangle around all pixels of the colour in the rectangle; None where they are fewer
        than that share of it."""
        x, y, width, height = area
        rows = list(enumerate(self._hits(area, colour, tolerance)))
        if sum(row.count(1) for _, row in rows) < least * width * height:
            return None
        inked = [(number, row) for number, row in rows if 1 in row]
        left, right = min(row.index(1) for _, row in inked), max(row.rindex(1) for _, row in inked)
        top, bottom = inked[0][0], inked[-1][0]
        return x + left, y + top, right - left + 1, bottom - top + 1

    def words(self, area, colour, gap=6, tolerance=90):
        """The widths of the words that stand in the rectangle in the colour: runs of columns with such
        pixels, parted by at least so many columns without."""
        inked = list(map(any, zip(*self._hits(area, colour, tolerance))))
        widths, start, blank = [], None, 0
        for i, ink in enumerate(inked + [False] * gap):
            if ink:
                start = i if start is None else start
                blank = 0
            elif start is not None:
                blank += 1
                if blank == gap:
                    widths.append(i - gap + 1 - start)
                    start = None
        return widths


def moved(area, by):
    return (area[0] + by[0], area[1] + by[1], area[2], area[3])


def _misplaced(picture, controls, landmarks, corner=(0, 0)):
    problems = []
    for name, (colour, least) in landmarks.items():
        x, y, width, height = area = moved(controls[name], corner)
        what = f"rgb{colour}" if colour else "other than the background"
        share = picture.share(area, colour)
        if share < least:
            problems.append(f"'{name}' is not at {area}: {100 * share:.1f} % of it is {what}, "
                            f"at least {100 * least:.1f} % were expected")
        strips = [(x, y, width, 14), (x, y + height - 14, width, 14)] if name in LABELS else \
            [(x - 3, y, 1, height), (x + width + 2, y, 1, height), (x, y - 3, width, 1), (x, y + height + 2, width, 1)]
        for strip in strips:
            if strip[0] >= 0 and picture.share(strip, colour) > 0.2:
                problems.append(f"'{name}' is not within {area}: {strip} is {what} too")
    return problems


def misplaced_controls(picture):
    """Problems of the idle main window with the accelerometer selected; empty when all is at its place."""
    return _misplaced(picture, CONTROLS, LANDMARKS)


def misplaced_options(picture, corner):
    """Problems of the recording options with all check boxes on."""
    return _misplaced(picture, OPTIONS, OPTION_LANDMARKS, corner)


def xdotool(*arguments):
    return subprocess.run(["xdotool", *map(str, arguments)], capture_output=True, text=True, check=True).stdout


def pointer_away():
    xdotool("mousemove", *AWAY)


def centre(area):
    return area[0] + area[2] // 2, area[1] + area[3] // 2


def click(area, corner=(0, 0)):
    """A press in the middle of the rectangle; the pointer then leaves, so that nothing is hovered."""
    x, y = centre(moved(area, corner))
    xdotool("mousemove", x, y)
    xdotool("click", 1)
    pointer_away()


def search(*arguments):
    """X windows that xdotool finds. A window that goes during the search ends xdotool: then once more."""
    def found():
        done = subprocess.run(["xdotool", "search", *map(str, arguments)], capture_output=True, text=True, check=False)
        return None if "X Error" in done.stderr else (done.stdout.split(),)
    return wait_for("a search that no window disturbs", found)[0]


def windows(pid):
    """Visible windows of a process: title, x, y, width, height, in the order of their making."""
    # Directly on the screen: the 3D view has a window of its own inside the main one.
    found = search("--onlyvisible", "--maxdepth", 1, "--pid", pid)
    result = []
    for window in sorted(found, key=int):
        try:
            title = xdotool("getwindowname", window).rstrip("\n")
            shell = dict(line.split("=") for line in xdotool("getwindowgeometry", "--shell", window).split())
        except subprocess.CalledProcessError:
            continue  # gone meanwhile
        result.append((title, *(int(shell[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))))
    return result


def window(pid, title):
    """Rectangle of the window with this title, or None."""
    return next((w[1:] for w in windows(pid) if w[0] == title), None)


# Of the icon in src/desktop, pixels.
ICON_SIZES = [(size, size) for size in (16, 24, 32, 48, 64, 128, 256)]


def window_class(pid, title):
    """The class of a window, by which a desktop finds its menu entry."""
    return re.search(r'"([^"]*)"\s*$', _property(pid, title, "WM_CLASS")).group(1)


def icon_sizes(pid, title):
    """The sizes of a window's icon in pixels."""
    numbers = list(map(int, re.findall(r"\d+", _property(pid, title, "_NET_WM_ICON", "-f", "_NET_WM_ICON", "32c"))))
    sizes = []
    while numbers:
        width, height = numbers[:2]
        sizes.append((width, height))
        del numbers[:2 + width * height]
    return sizes


def _property(pid, title, name, *form):
    window = xdotool("search", "--onlyvisible", "--pid", pid, "--name", f"^{re.escape(title)}$").split()[0]
    text = subprocess.run(["xprop", "-notype", "-len", "4000000", "-id", window, *form, name], capture_output=True,
                          text=True, check=True).stdout
    return text.partition(" = ")[2]


def wait_for_window(pid, title):
    return wait_for(f"a window \"{title}\"", lambda: window(pid, title))


def wait_until_gone(pid, title):
    wait_for(f"no window \"{title}\"", lambda: window(pid, title) is None)


# A popup list is a window of its own, titled as the program.
POPUP = "gravimon"


def choose(pid, area, row, rows, corner=(0, 0)):
    """Chooses a row of a combo box of so many rows with the mouse, whose button stays down until it is on the row: a
    busy program could take a click's release for the choice of the row below it."""
    xdotool("mousemove", *centre(moved(area, corner)), "mousedown", 1)
    x, y, width, height = wait_for_window(pid, POPUP)
    row_height = height / rows
    if not 15 <= row_height <= 40:
        raise AssertionError(f"the list is {height} pixels high, which is not that of {rows} rows")
    # The list ignores a release within the double click time of the press that opened it.
    wait_for("the list is drawn", lambda: Picture.take().share((x, y, width, height), FRAME) > 0.02)
    time.sleep(0.5)
    at = centre((x, int(y + row * row_height), width, int(row_height)))
    xdotool("mousemove", at[0] - 1, at[1], "mousemove", *at, "mouseup", 1)
    pointer_away()
    wait_until_gone(pid, POPUP)
