"""om-bench-window with the built program, operated with the mouse."""

import colorsys
import itertools
import json
import math
import os
import pathlib
import subprocess
import tempfile

import bench_hand
import calibration_control as calibration
import livefile
import screen
import world
from bench_hand import BenchWindow, angle_between
from screen import CONTROLS, Picture
from waiting import PATIENCE, SCALE, NotYet, wait_for
from world import TIV_P, TIV_Q

SCENE = (300, 155, 1020, 290)  # the 3D view


def run(*arguments, **environment):
    """Exit status, standard output and standard error of om-bench-window that ends by itself."""
    kept = {key: value for key, value in os.environ.items() if environment.get(key, value) is not None}
    result = subprocess.run([str(world.bin_dir / "om-bench-window"), *arguments], capture_output=True, text=True,
                            env=kept, check=False, timeout=PATIENCE * SCALE)
    return result.returncode, result.stdout, result.stderr


class HandTest(world.EndToEndTest):

    def setUp(self):
        super().setUp()
        self.windows = []

    def open_window(self, environment, folder, *arguments, **keywords):
        window = BenchWindow(environment, folder, *arguments, **keywords)
        self.windows.append(window)
        return window

    def window_on(self, program, **keywords):
        window = self.open_window(program.environment, program.folder, **keywords)
        wait_for("the window's connection", window.is_connected)
        return window

    def close_window(self, window):
        self.assertEqual(window.end(), 0)
        self.assertEqual(window.stderr.read_text(encoding="utf-8"), "")

    def tearDown(self):
        super().tearDown()
        for window in self.windows:
            if window.process.poll() is None:
                window.process.kill()
                window.process.wait(PATIENCE * SCALE)

    @staticmethod
    def truth(program, serial=TIV_Q):
        return program.camera(serial)["truth"]

    def rate(self, program, serial=TIV_Q):
        """Degrees per second."""
        return math.sqrt(sum(c * c for c in self.truth(program, serial)["angularVelocity"]))


class CommandLine(HandTest):

    def test_help_and_version(self):
        status, out, err = run("--help")
        self.assertEqual((status, err), (0, ""))
        self.assertIn("--socket", out)
        self.assertIn("Exit status", out)
        status, out, err = run("--version")
        self.assertEqual((status, err), (0, ""))
        self.assertRegex(out, r"^om-bench-window \d+\.\d+\.\d+(\+\d+\.g[0-9a-f]+)?\n$")

    def test_wrong_usage(self):
        for arguments in (["--sockets", "x"], ["something"], ["a\x1b[2J\nb"], ["--socket"]):
            status, out, err = run(*arguments)
            self.assertEqual((status, out), (2, ""), arguments)
            self.assertRegex(err, r"\Aom-bench-window: [^\n\x1b]{10,}; see om-bench-window --help\n\Z")

    def test_no_display_is_reported_in_one_line(self):
        status, out, err = run(DISPLAY=None, WAYLAND_DISPLAY=None, QT_QPA_PLATFORM=None)
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(err, "om-bench-window: no display: neither DISPLAY nor WAYLAND_DISPLAY is set\n")


class Connection(HandTest):

    def test_the_window_has_the_icon_and_the_class_of_its_menu_entry(self):
        program = self.start()
        window = self.window_on(program)
        self.assertEqual(screen.icon_sizes(window.process.pid, bench_hand.TITLE), screen.ICON_SIZES)
        self.assertEqual(screen.window_class(window.process.pid, bench_hand.TITLE), "om-bench-window")

    def test_it_finds_the_program_by_itself_and_again_after_its_end(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            found = {"XDG_RUNTIME_DIR": str(folder), "OM_TIV_CONTROL": ""}
            window = self.open_window({**os.environ, **found}, folder)
            self.assertFalse(window.is_connected())

            def start():
                program = self.start(environment=found)
                program.control = folder / "gravimon" / f"bench-{program.pid}.sock"
                wait_for("the bench", program.control.exists)
                wait_for("the connection", window.is_connected)
                return program
            self.close(start())
            wait_for("the end of the connection", lambda: not window.is_connected())
            program = start()
            program.process.kill()
            program.process.wait(PATIENCE * SCALE)
            wait_for("the end of the connection", lambda: not window.is_connected())
            program = start()
            program.wait_for_streaming(TIV_Q)
            self.close_window(window)
            self.close(program)


class Turning(HandTest):

    def test_what_one_turns_here_turns_in_gravimon(self):
        program = self.start_streaming(TIV_Q, bench=[world.camera("TIV_Q", TIV_Q, motion="at rest")])
        window = self.window_on(program, area=(0, 480, 820, 520))
        before = self.truth(program)["pose"]
        program.wait_for_samples(TIV_Q, 400)
        scene = None

        def change():
            """Bytes of the 3D view that have changed."""
            return sum(a != b for old, new in zip(scene, Picture.take().crop(SCENE)) for a, b in zip(old, new))

        def lies_still():
            """The view may show its first picture only now: an empty one has equal rows."""
            nonlocal scene
            scene = Picture.take().crop(SCENE)
            program.wait_for_samples(TIV_Q, 100)
            return len(set(scene)) > 30 and change() < 3000
        wait_for("a view that lies still", lies_still)

        def turned():
            return angle_between(before, self.truth(program)["pose"])

        def wait_for_turn(angle):
            wait_for(f"a turn by {angle} degrees", lambda: abs(turned() - angle) < 6.0 and self.rate(program) < 0.01)
        window.drag(bench_hand.stroke(0.0), before_release=lambda: wait_for_turn(133.0))
        self.assertAlmostEqual(turned(), 133.0, delta=6.0)
        self.assertLess(self.rate(program), 0.01)
        wait_for("another picture of the camera in Gravimon", lambda: change() > 6000)
        window.drag(bench_hand.stroke(0.0)[::-1], before_release=lambda: wait_for_turn(0.0))
        self.assertLess(turned(), 6.0)
        wait_for("the former picture", lambda: change() < 3000)
        self.close_window(window)
        self.close(program)

    def test_thrown_it_spins_on_until_it_is_grasped(self):
        program = self.start_streaming(TIV_Q, bench=[world.camera("TIV_Q", TIV_Q, motion="at rest")])
        window = self.window_on(program)

        def throw():
            # A window that is busy at the release takes the hand to rest.
            window.drag(bench_hand.stroke(0.0)[:40], throw=True)
            try:
                wait_for("the spin", lambda: self.rate(program) > 40.0, 5)
            except NotYet:
                return False
            # The body turns also while it is held, until the window comes to the release.
            program.wait_for_samples(TIV_Q, 400)
            return self.rate(program) > 40.0
        wait_for("a spin that goes on", throw)
        window.drag([(0.0, 0.0)])
        wait_for("the stop", lambda: self.rate(program) < 0.01)
        self.close_window(window)
        self.close(program)

    def test_plug_switch_takes_the_camera_from_the_program(self):
        program = self.start_streaming()
        window = self.window_on(program)
        screen.click(window.plug)
        program.wait_for_state(TIV_Q, "unplugged")
        program.wait_for_streaming(TIV_P)
        screen.click(window.plug)
        wait_for("the camera is there again", lambda: program.state(TIV_Q) == "plugged")
        self.close_window(window)
        self.close(program)


class Panel(HandTest):

    BESIDE_RECORD = (380, 180, 820, 780)

    def test_sliders_reach_the_values_of_the_program(self):
        program = self.start_streaming(TIV_Q, bench=[world.camera("TIV_Q", TIV_Q, motion="at rest")])
        window = self.window_on(program, area=self.BESIDE_RECORD)
        live = livefile.LiveFile(program)

        def field(row):
            return [row[f"mag{axis}[uT]"] for axis in "XYZ"]
        at_first = live.latest()
        window.slide("temperature", 0.5, 1.0)
        wait_for("60 degrees", lambda: program.om_bench("temperature", TIV_Q)["temperature"] == 60.0)
        live.wait_until("a warmer camera", lambda r: r["temp_imu[C]"] > at_first["temp_imu[C]"] + 5.0)
        # The earth's field: straight down, as strong as can be, then from the south.
        window.slide("inclination", (64.0 + 90.0) / 180.0, 1.0)
        window.slide("strength", 0.48, 1.0)
        window.slide("declination", (2.5 + 180.0) / 360.0, 0.0)
        wait_for("another field", lambda: program.om_bench("field")["field"] ==
                 {"strength": 100.0, "inclination": 90.0, "declination": -180.0})
        live.wait_until("a field that points down", lambda r: field(r)[1] < -100.0)
        window.slide("disturbance", 0.0, 1.0)
        wait_for("the disturbance",
                 lambda: program.camera(TIV_Q)["faults"].get("magneticDisturbance") == 200.0)

        def spread():
            rows = live.wait_for_more(300)
            return max(max(r[f"mag{axis}[uT]"] for r in rows) - min(r[f"mag{axis}[uT]"] for r in rows) for axis in "XYZ")
        wait_for("a field that swings", lambda: spread() > 60.0)
        window.slide("disturbance", 1.0, 0.0)
        wait_for("a field at rest", lambda: spread() < 10.0)
        live.stop()
        self.close_window(window)
        self.close(program)

    def test_fault_switches_reach_the_program(self):
        program = self.start_streaming(TIV_Q, bench=[world.camera("TIV_Q", TIV_Q)])
        window = self.window_on(program, area=self.BESIDE_RECORD)

        def faults():
            return program.camera(TIV_Q)["faults"]
        window.switch("openResult")
        wait_for("a refusing camera", lambda: faults() == {"openResult": 1})
        screen.click(window.plug)
        program.wait_for_state(TIV_Q, "unplugged")
        screen.click(window.plug)
        program.wait_for_state(TIV_Q, "plugged")
        # While it refuses nothing streams, however often the program tries.
        before = program.samples_read(TIV_Q)
        program.om_bench("fault", TIV_Q, "openRefusals", 1000)
        wait_for("some refusals", lambda: faults()["openRefusals"] < 997)
        self.assertEqual((program.state(TIV_Q), program.samples_read(TIV_Q)), ("plugged", before))
        program.om_bench("fault", TIV_Q, "openRefusals", -1)
        window.switch("oldFirmware")
        wait_for("old firmware", lambda: program.camera(TIV_Q)["firmware"] < 1142)
        window.switch("openResult")
        wait_for("no fault", lambda: faults() == {})
        calibration.answer(program, "Warning")
        program.wait_for_streaming(TIV_Q)
        window.switch("littleGpuMemory")
        wait_for("too little memory", lambda: faults() == {"littleGpuMemory": True})
        window.switch("littleGpuMemory")
        wait_for("no fault", lambda: faults() == {})
        self.close_window(window)
        self.close(program)


class Calibration(HandTest):
    """By hand, from the main window to a state that reads "GOOD"."""

    def state(self, program):
        """Widths of the words of the state, and the accuracy that its colour shows: 0 red, 1 green."""
        x, y, width, height = calibration.area(program, "state")
        picture = Picture.take()
        red, green, blue = (c / 255.0 for c in picture.crop((x + 2, y + 2, 1, 1))[0])
        hue, saturation, _ = colorsys.rgb_to_hsv(red, green, blue)
        words = picture.words((x + 3, y + 2, width - 6, height - 4), screen.LIGHT, gap=7, tolerance=60)
        return words, hue / 0.33 if saturation > 0.5 else None

    def is_good(self, program):
        """One word of four characters of 8 pixels ("OK" has two) on green."""
        words, accuracy = self.state(program)
        return len(words) == 1 and 28 <= words[0] <= 36 and accuracy is not None and accuracy > 0.7

    def watch(self, program, path):
        """om-bench, which writes the true field in the body frame fifty times a second."""
        with open(path, "wb") as out:
            return subprocess.Popen([str(world.bin_dir / "om-bench"), "--socket", str(program.control), "--json", "watch",
                                     str(TIV_Q), "--interval", "0.02"], stdout=out, env=program.environment)

    def test_calibration_by_hand_ends_in_good(self):
        program = self.start_streaming(TIV_Q, bench=[world.camera("TIV_Q", TIV_Q, motion="at rest")])
        calibration.open_dialog(program)
        program.wait_for_state(TIV_Q, "streaming")
        # Over the charts; the dialog's buttons and its state stand on the left.
        window = self.window_on(program)
        wait_for("\"MAG. NOT CALIBRATED\"", lambda: len(self.state(program)[0]) == 3)
        calibration.start(program)
        fields = program.folder / "fields"
        watching = self.watch(program, fields)
        for path in bench_hand.all_orientations():
            window.drag(path, bench_hand.FAST)
        # On a busy machine the window leaves out a part of a stroke.
        directions = (1.9 * i * i for i in itertools.count(21))

        def covered():
            seen = [json.loads(line)["truth"]["field"] for line in fields.read_text().splitlines() if line.endswith("}")]
            return bench_hand.largest_gap(seen) < 30.0 or window.drag(bench_hand.stroke(next(directions)), bench_hand.FAST)
        wait_for("strokes that cover all orientations", covered)
        watching.terminate()
        watching.wait(PATIENCE * SCALE)
        calibration.stop(program)
        calibration.press(program, "store")
        calibration.answer(program, calibration.WARNING)
        wait_for("the stored calibration", lambda: not program.om_bench("eeprom", "show", TIV_Q)["neutral"])
        # The state looks at the readings since the calibration came in force: they must turn too.
        directions = (1.9 * i * i for i in itertools.count(1))
        for _ in range(4):
            window.drag(bench_hand.stroke(next(directions)), bench_hand.FAST)
        wait_for("\"GOOD\"", lambda: self.is_good(program) or
                 window.drag(bench_hand.stroke(next(directions)), bench_hand.FAST))
        self.assertEqual(calibration.boxes(program), [])
        self.close_window(window)
        calibration.leave(program)
        program.wait_for_streaming(TIV_Q)
        self.close(program)


if __name__ == "__main__":
    world.main()
