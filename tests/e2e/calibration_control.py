"""Operating the calibration with the mouse."""

import screen
from screen import CONTROLS, LIME, Picture
from waiting import wait_for

DIALOG = "Magnetometer Calibration"
STARTING = "Calibration starting..."
STOPPED = "Calibration stopped"
WARNING = "Warning!"
ERROR = "TIV Camera error"
EXITING = "TIV Magnetometer Calibration"

# From the dialog's corner.
BUTTONS = {
    "start": (0, 80, 320, 54),
    "clear": (0, 134, 320, 54),
    "store": (0, 188, 320, 54),
    "reset": (0, 242, 320, 54),
    "exit": (0, 793, 320, 54),
}
STATE = (24, 374, 292, 22)  # the line below "Check Calibration"


def open_dialog(program):
    """From the main window with a streaming camera that has a magnetometer."""
    screen.click(CONTROLS["mag"])
    wait_for("the magnetometer is chosen", lambda: Picture.take().share(CONTROLS["mag"], LIME) > 0.8)
    screen.click(CONTROLS["calib"])
    screen.wait_for_window(program.pid, DIALOG)
    wait_for("the drawn dialog", lambda: Picture.take().share(area(program, "exit"), screen.LIGHT, 60) > 0.005)


def area(program, control):
    corner = screen.wait_for_window(program.pid, DIALOG)[:2]
    return screen.moved(STATE if control == "state" else BUTTONS[control], corner)


def press(program, button):
    screen.click(area(program, button))


def boxes(program):
    """Titles of the message boxes that are open."""
    return [w[0] for w in screen.windows(program.pid) if w[0] not in ("Gravimon", DIALOG, screen.POPUP)]


def answer(program, title):
    """Presses the button of the message box that goes on, which is the lime one. Another box of the same title may
    follow at once."""
    place = screen.wait_for_window(program.pid, title)

    def lime_button():
        """Its rectangle; a box that is not drawn yet shows what is behind it."""
        picture = Picture.take()
        button = picture.bounds(place, LIME, 0.01)
        return button if button and picture.share(button, LIME) > 0.5 else None
    button = wait_for(f"the button of \"{title}\"", lime_button)
    mine = ids(program, title)
    screen.click(button)
    wait_for(f"the end of \"{title}\"", lambda: not mine & ids(program, title))


def ids(program, title):
    """X windows of the program with this title."""
    return set(screen.search("--onlyvisible", "--all", "--pid", program.pid, "--name", f"^{title}$"))


def start(program):
    press(program, "start")
    answer(program, STARTING)


def stop(program):
    press(program, "start")
    answer(program, STOPPED)


def turn_all_ways(program, serial):
    """Turns the camera through poses that are enough for a fit, in some seconds."""
    def pose():
        return program.camera(serial)["truth"]["pose"]

    last = pose()

    def rests():
        nonlocal last
        before, last = last, pose()
        return before == last
    for heading, pitch, roll in ((0, 0, 0), (90, 45, 0), (180, 0, 90), (270, -45, 0), (0, 80, 180), (90, -80, 0),
                                 (180, 0, -90), (270, 30, 135), (45, -30, -135), (225, 0, 180)):
        program.om_bench("pose", serial, heading, pitch, roll, "--glide", 0.35)
        begin = last
        wait_for("the turn's begin", lambda: pose() != begin)
        wait_for("the turn's end", rests)


def leave(program):
    """Presses exit, and agrees if the dialog asks."""
    press(program, "exit")
    wait_for("the dialog's end, or its question",
             lambda: EXITING in boxes(program) or screen.window(program.pid, DIALOG) is None)
    if EXITING in boxes(program):
        answer(program, EXITING)
    screen.wait_until_gone(program.pid, DIALOG)
