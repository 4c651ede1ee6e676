"""Operating the recorder with the mouse."""

import configparser

import recording
import screen
from screen import CONTROLS, LIME, OPTIONS, RED, Picture
from waiting import wait_for

DIALOG = "Data recording options"
BOX = "File error"


def stored(program):
    """The settings store's keys; empty while there is none."""
    parser = configparser.ConfigParser()
    parser.optionxform = str
    parser.read(program.store, encoding="utf-8")
    return dict(parser["General"]) if parser.has_section("General") else {}


def recordings(program):
    """Files of recordings in the home folder, oldest first."""
    return sorted(program.home.glob("*.csv"))


def name_parts(path):
    """Model and serial number from the file's name."""
    match = recording.NAME.fullmatch(path.name)
    if match is None:
        raise AssertionError(f"not the name of a recording: {path.name}")
    return match.groups()


def is_pressed(picture=None):
    """Whether the button is pressed, which is red."""
    x, y, width, height = CONTROLS["record"]
    return (picture or Picture.take()).share((x, y, width, height), RED) > 0.4


def is_idle(picture=None):
    return (picture or Picture.take()).share(CONTROLS["record"], LIME) > 0.6


def text_width(picture=None):
    """How wide the button's text is: "Recording..." is longer than "Record"."""
    x, y, width, height = CONTROLS["record"]
    words = (picture or Picture.take()).words((x - 8, y + 2, width + 8, height - 4), screen.SOIL, gap=12, tolerance=60)
    return max(words, default=0)


def is_open(program, path):
    return str(path) in program.open_files()


def start_recording(program):
    """Presses the button and returns the file once rows come in."""
    former = set(recordings(program))
    screen.click(CONTROLS["record"])
    path = wait_for("a new file", lambda: next(iter(set(recordings(program)) - former), None))
    wait_for("the pressed button", is_pressed)
    wait_for("rows", lambda: path.read_bytes().count(b"\n") >= 2)
    return path


def stop_recording(program, path):
    screen.click(CONTROLS["record"])
    wait_for("the idle button", is_idle)
    wait_for("the closed file", lambda: not is_open(program, path))


def wait_for_rows(path, more):
    before = path.read_bytes().count(b"\n")
    wait_for(f"{more} more rows", lambda: path.read_bytes().count(b"\n") >= before + more)


def open_options(program):
    """Opens the dialog and returns its corner; every control of it must be at its place."""
    screen.click(CONTROLS["gear"])
    x, y, width, height = screen.wait_for_window(program.pid, DIALOG)
    if (width, height) != (500, 320):
        raise AssertionError(f"the options are {width} x {height}")
    wait_for("the drawn dialog", lambda: Picture.take().share(screen.moved(OPTIONS["ok"], (x, y)), LIME) > 0.6)
    return x, y


def is_on(corner, option):
    return Picture.take().share(screen.moved(OPTIONS[option], corner), LIME) > 0.4


def switch(corner, option, on):
    if is_on(corner, option) != on:
        screen.click(OPTIONS[option], corner)
        wait_for(f"'{option}' {'on' if on else 'off'}", lambda: is_on(corner, option) == on)


def choose_frequency(program, corner, row):
    screen.choose(program.pid, OPTIONS["sample_freq"], row, 8, corner)


def press(program, corner, button):
    screen.click(OPTIONS[button], corner)
    screen.wait_until_gone(program.pid, DIALOG)


def close_box(program):
    """Presses the one button of the message box, at its lower right."""
    x, y, width, height = screen.wait_for_window(program.pid, BOX)
    button = (x + width - 106, y + height - 29, 95, 18)
    wait_for("the box's button", lambda: Picture.take().share(button, LIME) > 0.5)
    screen.click(button)
    screen.wait_until_gone(program.pid, BOX)
