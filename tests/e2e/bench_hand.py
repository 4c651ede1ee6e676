"""om-bench-window and the mouse in it."""

import math
import signal
import subprocess

import screen
import world
from waiting import PATIENCE, SCALE, NotYet, wait_for

TITLE = "Gravimon bench"

# The window's fixed measures, pixels.
HEADER, STRIP, PANEL, FIGURES = 44, 156, 348, 64

# Seconds from one place of a drag to the next.
STEADY, FAST = 0.015, 0.006


class BenchWindow:
    """One start of the built om-bench-window; it is put at a place and laid on top."""

    def __init__(self, environment, folder, *arguments, area=(780, 360, 820, 640)):
        self.area = area
        self.stderr = folder / "window-stderr"
        with open(self.stderr, "ab") as stderr:
            self.process = subprocess.Popen([str(world.bin_dir / "om-bench-window"), *map(str, arguments)],
                                            env=environment, stdin=subprocess.DEVNULL, stdout=stderr, stderr=stderr)
        screen.wait_for_window(self.process.pid, TITLE)
        window = screen.xdotool("search", "--onlyvisible", "--pid", self.process.pid, "--name", TITLE).split()[0]
        x, y, width, height = area
        screen.xdotool("windowsize", window, width, height, "windowmove", window, x, y, "windowraise", window)
        wait_for("the window at its place", lambda: screen.window(self.process.pid, TITLE) == area)

    # Places, on the screen.

    @property
    def stage(self):
        x, y, width, height = self.area
        return x, y + HEADER, width - PANEL, height - HEADER - STRIP

    @property
    def ball(self):
        """Centre and radius of the ball that the pointer turns."""
        x, y, width, height = self.stage
        scale = min((height - FIGURES) / 3.15, width / 4.0)
        return x + width / 2.0, y + (height - FIGURES) / 2.0 - 0.36 * scale, 1.12 * scale

    @property
    def plug(self):
        x, y, width, _ = self.area
        return x + width - 65, y + 81, 36, 20

    @property
    def link(self):
        """The header's right end, which shows the connection: lime or grey."""
        x, y, width, _ = self.area
        return x + width - 300, y + 10, 290, 24

    def is_connected(self):
        return screen.Picture.take().share(self.link, screen.LIME) > 0.005

    # The mouse.

    def drag(self, points, step=STEADY, throw=False, before_release=None):
        """Along points in radii from the ball's centre, y up; a throw releases in motion. The window may be behind the
        mouse; before_release() waits until it has come to the last place."""
        x, y, radius = self.ball
        places = [(round(x + radius * px), round(y - radius * py)) for px, py in points]
        command = ["mousemove", *places[0], "mousedown", 1]
        for place in places[1:]:
            command += ["mousemove", *place, "sleep", step]
        if throw:
            screen.xdotool(*command, "mouseup", 1)
            return
        screen.xdotool(*command, "sleep", 0.15)
        if before_release:
            before_release()
        screen.xdotool("mouseup", 1)

    # The panel.

    # Middles of what is on it below the window's upper edge, while it is not scrolled.
    SLIDERS = {"temperature": 250, "disturbance": 299, "strength": 386, "inclination": 435, "declination": 484}
    SWITCHES = {"openResult": 576, "openDelay": 636, "littleGpuMemory": 664, "oldFirmware": 690}

    def slide(self, name, begin, end):
        """Drags a slider's handle; where it is and goes to are shares of its range."""
        x, y, width, _ = self.area
        places = [(round(x + width - 319 + share * 284), y + self.SLIDERS[name]) for share in (begin, (begin + end) / 2, end)]
        screen.xdotool("mousemove", *places[0], "mousedown", 1, "sleep", 0.05, "mousemove", *places[1], "sleep", 0.05,
                       "mousemove", *places[2], "sleep", 0.05, "mouseup", 1)

    def switch(self, name):
        x, y, width, _ = self.area
        screen.click((x + width - 63, y + self.SWITCHES[name] - 10, 36, 20))

    def end(self, how=signal.SIGTERM):
        """Exit status; the output is in stderr."""
        if self.process.poll() is None:
            self.process.send_signal(how)
        try:
            return self.process.wait(PATIENCE * SCALE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait(PATIENCE * SCALE)
            raise NotYet("om-bench-window did not end") from None


def stroke(angle, reach=1.1, steps=55):
    """A straight drag through the ball's middle in a direction, radians: 133 degrees of turn."""
    return [((2.0 * i / steps - 1.0) * reach * math.cos(angle), (2.0 * i / steps - 1.0) * reach * math.sin(angle))
            for i in range(steps + 1)]


def circle(turns=1.0, reach=1.3, steps=110):
    """Around the ball's rim: a roll about the line of sight."""
    return [(reach * math.cos(2.0 * math.pi * turns * i / steps), reach * math.sin(2.0 * math.pi * turns * i / steps))
            for i in range(steps + 1)]


def all_orientations():
    """Strokes for a calibration: full turns about the three axes of the view, then through all directions between
    them. The directions follow no simple rule, because regular strokes return to the same places. So a field
    of any inclination comes within 25 degrees of every direction of the body."""
    return [*(stroke(0.0) for _ in range(3)), *(stroke(math.pi / 2.0) for _ in range(3)), circle(),
            *(stroke(1.9 * i * i) for i in range(1, 21))]


def angle_between(a, b):
    """Degrees between two poses x y z w."""
    dot = abs(sum(p * q for p, q in zip(a, b)))
    return math.degrees(2.0 * math.acos(min(dot, 1.0)))


def directions(count):
    """Spread evenly over the sphere (a Fibonacci spiral)."""
    result = []
    for i in range(count):
        z = 1.0 - (2.0 * i + 1.0) / count
        azimuth = math.pi * (1.0 + math.sqrt(5.0)) * i
        radius = math.sqrt(1.0 - z * z)
        result.append((radius * math.cos(azimuth), radius * math.sin(azimuth), z))
    return result


def largest_gap(fields, count=100):
    """Largest angle between a direction of the body and the nearest direction in which a field vector pointed, degrees."""
    units = []
    for field in fields:
        size = math.sqrt(sum(c * c for c in field))
        units.append(tuple(c / size for c in field))
    gaps = [max(sum(p * q for p, q in zip(cell, unit)) for unit in units) for cell in directions(count)]
    return math.degrees(math.acos(max(-1.0, min(gaps))))

