"""Both programs on a Wayland compositor, started by the commands of their menu entries.

Weston shows its screen in the test's X server, where the mouse and pictures work as in the other tests. The programs
know only the Wayland socket. They draw the frames of their windows themselves.
"""

import glob
import os
import pathlib
import shutil
import subprocess
import unittest

import screen
import world
from screen import CONTROLS, Picture, moved, xdotool
from waiting import PATIENCE, SCALE, wait_for
from world import TIV_Q

ENTRIES = pathlib.Path(__file__).parents[2] / "packaging"
PLUGIN = "/usr/lib/*/qt5/plugins/platforms/libqwayland-generic.so"

BACKGROUND = bytes((0x33, 0x66, 0x99))
CONFIGURATION = """[shell]
background-color=0xff336699
background-type=tile
panel-position=none
animation=none
startup-animation=none
close-animation=none
focus-animation=none
locking=false
"""
# The frame that Qt draws: left, top, right and bottom; and the middle of its close button from the upper right corner.
FRAME = (3, 30, 3, 3)
CLOSE = (-17, 15)


def command_of(entry):
    """The words of a menu entry's command. Between quotes a backslash stands before a reserved character; the entry
    itself needs another one before it."""
    line = next(line for line in (ENTRIES / f"{entry}.desktop").read_text(encoding="utf-8").splitlines()
                if line.startswith("Exec="))
    plain, quoted, _ = line[len("Exec="):].replace("\\\\", "\\").split('"')
    return (*plain.split(), quoted.replace("\\$", "$"))


class MenuEntries(unittest.TestCase):

    def platform(self, entry, **display):
        """What a menu entry's command sets as Qt's platform for its program."""
        folder = pathlib.Path(os.environ["HOME"]).parent / "programs"
        folder.mkdir(exist_ok=True)
        program = folder / entry
        program.write_text('#!/bin/sh\nprintf %s "${QT_QPA_PLATFORM-none}"\n', encoding="ascii")
        program.chmod(0o755)
        result = subprocess.run(command_of(entry), env={"PATH": f"{folder}:/usr/bin:/bin", **display},
                                capture_output=True, text=True, check=True, timeout=PATIENCE * SCALE)
        self.assertEqual(result.stderr, "")
        return result.stdout

    def test_platform_is_chosen_only_where_wayland_is_alone(self):
        for entry in ("gravimon", "om-bench-window"):
            for display, expected in (
                    ({"WAYLAND_DISPLAY": "wayland-0"}, "wayland"),
                    ({"WAYLAND_DISPLAY": "/run/user/1/a b"}, "wayland"),
                    ({"WAYLAND_DISPLAY": "wayland-0", "DISPLAY": ""}, "wayland"),
                    ({"WAYLAND_DISPLAY": "wayland-0", "DISPLAY": ":0"}, "none"),
                    ({"WAYLAND_DISPLAY": "wayland-0", "DISPLAY": "::1:0"}, "none"),
                    ({"WAYLAND_DISPLAY": "wayland-0", "QT_QPA_PLATFORM": "xcb;wayland"}, "xcb;wayland"),
                    ({"DISPLAY": ":0"}, "none"),
                    ({}, "none")):
                with self.subTest(entry=entry, **display):
                    self.assertEqual(self.platform(entry, **display), expected)


class Windows(world.EndToEndTest):

    def setUp(self):
        super().setUp()
        self.assertTrue(shutil.which("weston") and glob.glob(PLUGIN), "install the packages weston and qtwayland5")
        runtime = pathlib.Path(os.environ["XDG_RUNTIME_DIR"])
        (runtime / "weston.ini").write_text(CONFIGURATION, encoding="ascii")
        with open(runtime / "weston.log", "wb") as log:
            self.compositor = subprocess.Popen(
                # Without its X server weston would run on, at full load.
                ["setpriv", "--pdeathsig", "KILL", "weston", "--backend=x11-backend.so",
                 f"--config={runtime}/weston.ini", "--socket=wayland-test", "--use-pixman", "--idle-time=0",
                 "--width=1600", "--height=1000"],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.addCleanup(self.end_compositor)
        wait_for("the compositor's socket", (runtime / "wayland-test").exists)
        wait_for("the compositor's screen", lambda: Picture.take().crop((0, 0, 1600, 900))[899] == 1600 * BACKGROUND)
        wait_for("the compositor's pointer", self.pointer_follows)

    def end_compositor(self):
        self.compositor.terminate()
        self.compositor.wait(PATIENCE * SCALE)

    @staticmethod
    def pointer_follows():
        """Whether the compositor's pointer is where the mouse is. It takes relative moves, and may start in the corner
        while the mouse is elsewhere; a move into the corner brings both together."""
        xdotool("mousemove", 0, 0)
        Picture.take()  # so that the compositor takes this move apart from the next one
        xdotool("mousemove", 100, 100)
        return any(row != 8 * BACKGROUND for _ in range(20) for row in Picture.take().crop((100, 100, 8, 8)))

    def environment(self):
        return {"WAYLAND_DISPLAY": "wayland-test", "PATH": f"{world.bin_dir}:{os.environ['PATH']}"}

    WITHOUT = ("DISPLAY", "QT_QPA_PLATFORM", "QT_LOGGING_RULES", "XDG_SESSION_TYPE")

    @staticmethod
    def window():
        """Rectangle of the only window with its frame, or None. The pointer is smaller than any window."""
        picture = Picture.take()
        rows = picture.crop((0, 0, picture.width, picture.height))
        covered = [y for y, row in enumerate(rows) if picture.width - row.count(BACKGROUND) > 200]
        if not covered:
            return None
        top, bottom = covered[0], covered[-1] + 1
        middle = rows[(top + bottom) // 2]
        inside = [x for x in range(picture.width) if middle[3 * x:3 * x + 3] != BACKGROUND]
        return inside[0], top, inside[-1] + 1 - inside[0], bottom - top

    def wait_for_window(self, width, height):
        """The rectangle of the window once its content has this size."""
        left, top, right, bottom = FRAME
        size = (width + left + right, height + top + bottom)
        return wait_for(f"a window of {width} x {height}", lambda: (w := self.window()) and w[2:] == size and w)

    def drag_corner(self, window, by):
        """Moves the lower right corner of a window and returns its new rectangle."""
        x, y = window[0] + window[2] - 2, window[1] + window[3] - 2
        xdotool("mousemove", x - 20, y - 20)
        xdotool("mousemove", x, y)
        xdotool("mousedown", 1)
        size = (window[2] + by[0], window[3] + by[1])

        def drawn():
            # Only moves count that follow the program's answer to the press.
            for rest in (1, 0):
                xdotool("mousemove", x + by[0] + rest, y + by[1])
            now = self.window()
            return now and now[2:] == size and now
        changed = wait_for(f"a frame of {size}", drawn)
        xdotool("mouseup", 1)
        return changed

    def press_close_button(self, window):
        x, y = window[0] + window[2] + CLOSE[0], window[1] + CLOSE[1]
        xdotool("mousemove", x - 10, y + 40)
        xdotool("mousemove", x, y)
        xdotool("click", 1)

    def ended(self, process):
        """The exit status of a program whose close button was pressed."""
        return process.wait(PATIENCE * SCALE)

    def test_gravimon_streams_is_resized_and_closed(self):
        program = self.start(wrapper=command_of("gravimon"), environment=self.environment(), without=self.WITHOUT)
        width, height = screen.WINDOW[2:]
        window = self.wait_for_window(width, height)
        program.wait_for_state(TIV_Q, "streaming")
        program.wait_for_samples(TIV_Q, 400)
        corner = (window[0] + FRAME[0], window[1] + FRAME[1])
        wait_for("the chosen sensor's button", lambda: Picture.take().share(moved(CONTROLS["accel"], corner),
                                                                           screen.LIME) > 0.8)
        window = self.drag_corner(window, (-60, -50))
        program.wait_for_samples(TIV_Q, 400)
        self.press_close_button(window)
        self.assertEqual(self.ended(program.process), 0)
        self.assertEqual(program.errors(), [])
        self.assertFalse(program.control.exists(), "the control socket is left behind")

    def test_bench_window_shows_is_resized_and_closed(self):
        folder = pathlib.Path(os.environ["XDG_RUNTIME_DIR"])
        environment = {**os.environ, **self.environment(), "OM_TIV_CONTROL": str(folder / "none.sock")}
        for name in self.WITHOUT:
            environment.pop(name, None)
        with open(folder / "bench-window.log", "wb") as log:
            process = subprocess.Popen(command_of("om-bench-window"), env=environment, stdin=subprocess.DEVNULL,
                                       stdout=log, stderr=log)
        self.addCleanup(lambda: process.poll() is None and process.kill())
        window = self.wait_for_window(1240, 820)
        window = self.drag_corner(window, (-200, -150))
        self.press_close_button(window)
        self.assertEqual(self.ended(process), 0)
        self.assertEqual((folder / "bench-window.log").read_text(encoding="utf-8"), "")


if __name__ == "__main__":
    world.main()
