"""The built program from its start to its end: finding, showing, losing and changing cameras."""

import signal
import subprocess

import calibration_control as calibration
import close_button
import recorder_control as recorder
import screen
import world
from screen import CONTROLS, Picture
from waiting import wait_for
from world import TIV_N, TIV_P, TIV_Q, camera


def text_in_list(name, colour=screen.LIGHT):
    """Widths of the words that a combo box shows, without its frame and arrow."""
    x, y, width, height = CONTROLS[name]
    return Picture.take().words((x + 3, y + 3, width - 30, height - 6), colour, gap=7)


def rate_digits():
    """Number of characters of the rate that stands behind the sensor's name; 0 while there is none."""
    words = Picture.take().words(CONTROLS["sensor rate"], screen.LIGHT, gap=7)
    return round((words[-2] + 1) / 8.2) if len(words) == 4 else 0


def says_no_cameras():
    """Whether the list reads like "No cameras": a word of two characters and one of seven."""
    words = text_in_list("camera list", screen.FRAME)
    return len(words) == 2 and 2.5 < words[1] / words[0] < 5


def is_label(name, picture):
    """Whether a sensor button stands there: its label in white, or in dark on lime when chosen."""
    x, y, width, height = CONTROLS[name]
    inner = (x + 10, y + 8, width - 20, height - 16)
    return picture.share(inner, screen.LIGHT, 40) > 0.003 or picture.share(inner, screen.LIME) > 0.8


def wait_for_buttons(**shown):
    def state():
        picture = Picture.take()
        return {name: is_label(name, picture) for name in shown} == shown
    wait_for(f"sensor buttons {shown}", state)


class Start(world.EndToEndTest):

    def test_controls_stand_where_the_other_tests_press_them(self):
        self.start_streaming()
        # Right after the start the window is still being drawn.
        try:
            wait_for("the layout", lambda: not screen.misplaced_controls(Picture.take()))
        except AssertionError:
            self.fail("\n".join(["the controls are not where the table of screen.py says:",
                                 *screen.misplaced_controls(Picture.take())]))

    def test_window_has_its_title_and_size(self):
        program = self.start_streaming()
        self.assertEqual(screen.window(program.pid, "Gravimon"), screen.WINDOW)

    def test_every_window_has_the_icon_and_the_class_of_the_menu_entry(self):
        program = self.start_streaming()
        self.check_identity(program, "Gravimon")
        corner = recorder.open_options(program)
        self.check_identity(program, recorder.DIALOG)
        recorder.press(program, corner, "cancel")
        calibration.open_dialog(program)
        self.check_identity(program, calibration.DIALOG)

    def check_identity(self, program, title):
        wait_for(f"the icon of \"{title}\"", lambda: screen.icon_sizes(program.pid, title) == screen.ICON_SIZES)
        self.assertEqual(screen.window_class(program.pid, title), "gravimon")

    def test_first_camera_of_three_streams_at_once(self):
        program = self.start_streaming()
        cameras = program.cameras()
        self.assertEqual([(c["model"], c["state"]) for c in cameras.values()],
                         [("TIV_Q", "streaming"), ("TIV_P", "plugged"), ("TIV_N", "plugged")])
        program.wait_for_samples(TIV_Q, 400)
        self.close(program)

    def test_list_holds_the_three_cameras(self):
        program = self.start_streaming()
        screen.click(CONTROLS["camera list"])
        area = screen.wait_for_window(program.pid, screen.POPUP)
        x, y, width, height = area
        row = height // 3

        def words(i):
            picture = Picture.take()
            # The row under the pointer or chosen is drawn dark on light.
            colour = screen.SOIL if picture.share((x + 2, y + i * row + 2, width - 4, row - 4), screen.SOIL) < 0.5 \
                else screen.LIGHT
            return picture.words((x + 4, y + i * row + 3, width - 8, row - 6), colour, gap=7)
        # Model, dash, serial number: five, one and eight characters of one width.
        for i in range(3):
            wait_for(f"row {i} reads like \"TIV_Q - 31415926\"",
                     lambda i=i: len(words(i)) == 3 and words(i)[0] < words(i)[2] > 6 * words(i)[1])
        screen.xdotool("key", "Escape")

    def test_no_cameras_stands_in_the_list_of_an_empty_bench(self):
        program = self.start(bench=[])
        screen.wait_for_window(program.pid, "Gravimon")
        wait_for("the bench answers", lambda: program.control.exists())
        wait_for("\"No cameras\" in the list", says_no_cameras)
        screen.click(CONTROLS["camera list"])

        # The window takes the camera after the click; until then the click may still have to be handled.
        def streams():
            self.assertIsNone(screen.window(program.pid, screen.POPUP), "the list opens although it is disabled")
            return program.state(20000001) == "streaming"
        program.om_bench("add", "TIV_P", 20000001)
        wait_for("camera 20000001 is streaming", streams)
        self.close(program)

    def test_camera_that_comes_later_streams_without_a_restart(self):
        program = self.start(bench=[])
        wait_for("the bench answers", lambda: program.control.exists())
        program.om_bench("add", "TIV_P", 20000001)
        program.wait_for_streaming(20000001)
        self.close(program)

    def test_values_change_on_the_screen_and_stand_when_samples_do(self):
        program = self.start_streaming()
        first = Picture.take().crop(CONTROLS["values"])
        wait_for("other values", lambda: Picture.take().crop(CONTROLS["values"]) != first)
        # The same camera whose timestamps stand brings no new sample: nothing may change any more.
        program.om_bench("fault", TIV_Q, "frozenTimestamps", "on")

        def stands():
            before = Picture.take().crop(CONTROLS["values"])
            program.wait_for_samples(TIV_Q, 200)
            return Picture.take().crop(CONTROLS["values"]) == before
        # Twice: once the last sample is shown, and not because the window itself stood still.
        wait_for("values that stand", lambda: stands() and stands())
        still = Picture.take().crop(CONTROLS["values"])
        program.om_bench("fault", TIV_Q, "frozenTimestamps", "off")
        wait_for("other values again", lambda: Picture.take().crop(CONTROLS["values"]) != still)
        self.close(program)

    def test_each_sensor_button_shows_its_values_and_chart(self):
        program = self.start_streaming()
        colours = {"X": screen.RED, "Y": screen.GREEN, "Z": screen.BLUE}
        expected = {"accel": "XYZ", "gyro": "XYZ", "orient": "XYZ", "mag": "XYZ", "temper": "YZ"}
        digits = {"accel": 3, "gyro": 3, "orient": 3, "mag": 2, "baro": 2, "temper": 2}  # 400, 50 and 25 Hz
        axis = (295, 500, 55, 280)  # the value axis with its title
        charts = [Picture.take().crop(axis)]

        def other_axis():
            chart = Picture.take().crop(axis)
            return chart if chart not in charts else None
        for name in ("gyro", "orient", "mag", "temper", "baro", "accel"):
            screen.click(CONTROLS[name])
            wait_for(f"'{name}' is highlighted", lambda n=name: Picture.take().share(CONTROLS[n], screen.LIME) > 0.8)

            def boxes():
                picture = Picture.take()
                return "".join(a for a, c in colours.items() if picture.share(CONTROLS["values"], c, 60) > 0.002)
            if name in expected:
                wait_for(f"values {expected[name]} of '{name}'", lambda n=name: boxes() == expected[n])
            # "Gyroscope @ ", then "400 Hz"
            wait_for(f"a rate of {digits[name]} digits of '{name}'", lambda n=name: rate_digits() == digits[n])
            if name != "accel":
                charts.append(wait_for(f"a value axis of '{name}' alone", other_axis))
        self.close(program)

    def test_calibration_button_shows_with_the_magnetometer_only(self):
        program = self.start_streaming()
        wait_for_buttons(calib=False)
        screen.click(CONTROLS["mag"])
        wait_for_buttons(calib=True)
        screen.click(CONTROLS["gyro"])
        wait_for_buttons(calib=False)
        self.close(program)

    def test_time_range_is_chosen_from_four(self):
        program = self.start_streaming()
        before = text_in_list("time range")  # "Last 10 sec", of three words
        self.assertEqual(len(before), 3)
        screen.choose(program.pid, CONTROLS["time range"], 0, 4)
        wait_for("\"Last 5 sec\"", lambda: [w < b for w, b in zip(text_in_list("time range"), before)] ==
                 [False, True, False])
        self.close(program)


class ChangeOfCamera(world.EndToEndTest):

    def choose_row(self, program, row, rows=3):
        screen.choose(program.pid, CONTROLS["camera list"], row, rows)

    def test_another_row_switches_cameras_and_back(self):
        program = self.start_streaming()
        self.choose_row(program, 1)
        program.wait_for_streaming(TIV_P)
        self.assertEqual(program.state(TIV_Q), "plugged")
        self.assertGreater(program.samples_read(TIV_P), 0)
        self.choose_row(program, 0)
        program.wait_for_streaming(TIV_Q)
        self.assertEqual(program.state(TIV_P), "plugged")
        self.close(program)

    def test_buttons_follow_the_model(self):
        program = self.start_streaming()
        wait_for_buttons(accel=True, gyro=True, orient=True, baro=True, mag=True, temper=True)
        self.choose_row(program, 2)
        program.wait_for_streaming(TIV_N)
        wait_for_buttons(accel=True, gyro=True, orient=True, baro=False, mag=False, temper=False)
        self.choose_row(program, 1)
        program.wait_for_streaming(TIV_P)
        wait_for_buttons(accel=True, gyro=True, orient=True, baro=True, mag=True, temper=True)
        self.close(program)

    def test_serial_models_hide_barometer_and_magnetometer_only(self):
        program = self.start_streaming(20000004, bench=[camera("TIV_R", 20000004)])
        # The temperature moves up into the place of the first hidden button.
        wait_for_buttons(accel=True, gyro=True, orient=True, baro=True, mag=False, temper=False)
        self.close(program)

    def test_refresh_keeps_the_camera_and_lists_it_twice(self):
        program = self.start_streaming()
        program.om_bench("add", "TIV_P", 20000001)
        wait_for("the row", lambda: len(text_in_list("camera list")) == 3)  # "TIV_Q - 31415926"
        read = program.samples_read(TIV_Q)
        screen.click(CONTROLS["refresh"])
        wait_for("\" - 31415926\" in the list", lambda: len(text_in_list("camera list")) == 2)
        program.wait_for_samples(TIV_Q, 100)
        self.assertGreater(program.samples_read(TIV_Q), read, "the camera was opened anew")
        self.close(program)


class LossOfCamera(world.EndToEndTest):

    def test_unplugging_ends_the_stream_and_plugging_brings_it_back(self):
        program = self.start_streaming(20000001, bench=[camera("TIV_Q", 20000001)])
        # The samples come before the window is painted.
        wait_for("the row", lambda: len(text_in_list("camera list")) == 3)  # "TIV_Q - 20000001"
        listed = Picture.take().crop(CONTROLS["camera list"])
        program.om_bench("unplug", 20000001)
        self.assertEqual(program.state(20000001), "unplugged")
        wait_for("\"No cameras\" in the list", says_no_cameras)
        program.om_bench("plug", 20000001)
        program.wait_for_streaming(20000001)
        wait_for("the former row", lambda: Picture.take().crop(CONTROLS["camera list"]) == listed)
        program.wait_for_samples(20000001, 400)
        self.close(program)

    def test_next_camera_of_the_list_takes_over(self):
        program = self.start_streaming()
        program.om_bench("unplug", TIV_Q)
        program.wait_for_streaming(TIV_P)
        self.close(program)

    def test_ten_cycles_leave_threads_and_files_as_they_were(self):
        serial = 20000001
        program = self.start_streaming(serial, bench=[camera("TIV_Q", serial)])

        def cycle():
            program.om_bench("unplug", serial)
            wait_for("the camera is let go", lambda: program.state(serial) == "unplugged" and
                     says_no_cameras())
            program.om_bench("plug", serial)
            program.wait_for_streaming(serial)
        cycle()
        threads, files = program.threads(), len(program.open_files())
        for _ in range(10):
            cycle()
        wait_for(f"{threads} threads as before", lambda: program.threads() <= threads)
        wait_for(f"{files} open files as before", lambda: len(program.open_files()) <= files)
        self.close(program)

    def test_camera_that_refuses_to_open_is_tried_again_in_silence(self):
        serial = 20000001
        program = self.start(bench=[camera("TIV_Q", serial, faults={"openResult": 7, "openRefusals": 3})])
        program.wait_for_streaming(serial)
        self.assertEqual([w[0] for w in screen.windows(program.pid)], ["Gravimon"])
        self.close(program)


class End(world.EndToEndTest):

    def close_by(self, how):
        program = self.start_streaming()
        self.assertEqual(program.end(how), 0, program.errors())
        self.assertEqual(program.errors(), [])
        self.assertFalse(program.control.exists(), "the control socket is left behind")

    def test_sigterm_closes_the_window(self):
        self.close_by(signal.SIGTERM)

    def test_sigint_closes_the_window(self):
        self.close_by(signal.SIGINT)

    def test_sighup_closes_the_window(self):
        self.close_by(signal.SIGHUP)

    def test_signal_that_was_ignored_at_the_start_stays_ignored(self):
        program = self.start_streaming(wrapper=("nohup",))
        program.process.send_signal(signal.SIGHUP)
        program.wait_for_samples(TIV_Q, 400)
        self.assertTrue(program.is_running())
        program.end()
        self.assertEqual(program.process.returncode, 0)

    def test_further_signal_ends_a_program_that_an_open_holds_up(self):
        program = self.start_streaming(20000001, bench=[camera("TIV_Q", 20000001),
                                                        camera("TIV_P", 20000002, faults={"openDelay": 600000})])
        screen.choose(program.pid, CONTROLS["camera list"], 1, 2)
        # From here on the window is in the open.
        program.wait_for_state(20000001, "plugged")

        def ended():
            program.process.send_signal(signal.SIGTERM)
            return not program.is_running()
        wait_for("the end of the program", ended)
        self.assertEqual(program.process.returncode, -signal.SIGTERM)

    def test_signal_at_a_question_of_the_calibration_stores_nothing(self):
        program = self.start_streaming()
        calibration.open_dialog(program)
        calibration.start(program)
        calibration.stop(program)
        calibration.press(program, "store")
        calibration.answer(program, calibration.WARNING)
        stored = wait_for("the stored calibration", lambda: self.images(program))
        calibration.press(program, "reset")
        screen.wait_for_window(program.pid, calibration.WARNING)
        self.close(program)
        self.assertEqual(self.images(program), stored)

    @staticmethod
    def images(program):
        return {path.name: path.read_bytes() for path in (program.folder / "state").glob("*.eeprom")}

    def test_close_button_ends_it_without_a_word(self):
        program = self.start_streaming()
        close_button.press(program.pid, "Gravimon")
        wait_for("the program has ended", lambda: not program.is_running())
        self.assertEqual(program.end(), 0, program.errors())
        self.assertEqual(program.errors(), [])
        self.assertFalse(program.control.exists(), "the control socket is left behind")

    def test_close_with_the_options_open(self):
        program = self.start_streaming()
        screen.click(CONTROLS["gear"])
        screen.wait_for_window(program.pid, "Data recording options")
        self.close(program)

    def test_close_with_no_camera(self):
        program = self.start(bench=[])
        wait_for("the bench answers", lambda: program.control.exists())
        screen.wait_for_window(program.pid, "Gravimon")
        self.close(program)

    def test_two_programs_run_beside_each_other(self):
        first = self.start_streaming()
        second = self.start_streaming(20000001, bench=[camera("TIV_P", 20000001)])
        first.wait_for_samples(TIV_Q, 100)
        second.wait_for_samples(20000001, 100)
        self.assertEqual(list(second.cameras()), [20000001])
        self.close(first)
        self.close(second)

    def test_om_bench_says_so_when_nothing_runs(self):
        program = self.start_streaming()
        self.close(program)
        result = subprocess.run([str(world.bin_dir / "om-bench"), "--socket", str(program.control), "list"],
                                capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, 3, result.stderr)


if __name__ == "__main__":
    world.main()
