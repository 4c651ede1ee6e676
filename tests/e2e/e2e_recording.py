"""The content of a recording, and events that do not end it."""

import os
import subprocess
import tempfile
import time

import emitted
import recorder_control as control
import recording
import screen
import world
from screen import CONTROLS, Picture
from waiting import wait_for
from world import TIV_N, TIV_P, TIV_Q, camera


def most_numbers(program):
    """More samples than the camera can have had since the start."""
    return int(400 * (time.time() - program.started + 60))


def tiv_p():
    """The second camera of the default bench."""
    return emitted.Camera(TIV_P, hard_iron=(-12.0, 31.5, -7.0), soft_iron=(0.95, 1.04, 0.90))


class Options(world.EndToEndTest):

    def test_first_start_has_everything_on_at_400_hz(self):
        program = self.start_streaming()
        corner = control.open_options(program)
        problems = screen.misplaced_options(Picture.take(), corner)
        self.assertEqual(problems, [], "the controls are not where the table of screen.py says")
        self.assertEqual(control.stored(program), {}, "opening alone stores nothing")
        control.press(program, corner, "ok")
        self.assertEqual(control.stored(program), {"save_folder": str(program.home), "sample_freq": "400",
                                                   **{s: "true" for s in recording.SWITCHES}})
        self.close(program)

    def test_cancel_changes_nothing(self):
        program = self.start_streaming(settings={"gyroscope": "false"})
        corner = control.open_options(program)
        control.switch(corner, "accelerometer", False)
        control.choose_frequency(program, corner, 7)
        control.press(program, corner, "cancel")
        self.assertEqual(control.stored(program), {"gyroscope": "false"})
        path = control.start_recording(program)
        control.wait_for_rows(path, 20)  # far more than 1 Hz would bring
        control.stop_recording(program, path)
        recording.Recording(path, [s for s in recording.SWITCHES if s != "gyroscope"])
        self.close(program)

    def columns(self, program, on):
        corner = control.open_options(program)
        for option in recording.SWITCHES:
            control.switch(corner, option, option in on)
        control.press(program, corner, "ok")
        self.assertEqual({s for s in recording.SWITCHES if control.stored(program)[s] == "true"}, set(on))
        path = control.start_recording(program)
        control.wait_for_rows(path, 20)
        control.stop_recording(program, path)
        file = recording.Recording(path, on)
        file.check_order()
        # The file's name holds whole seconds: two recordings of one second would share it.
        wait_for("the next second", lambda: int(time.time()) > int(path.stat().st_mtime))
        return file

    def test_check_boxes_choose_the_columns(self):
        program = self.start_streaming()
        self.assertEqual(self.columns(program, []).names, ["idx"])
        self.assertEqual(self.columns(program, ["temperatures"]).names,
                         ["idx", "imu_Timestamp[sec]", "baro_Timestamp[sec]", "temp_left[C]", "temp_right[C]",
                          "temp_imu[C]", "temp_barom[C]"])
        self.assertEqual(self.columns(program, ["barometer"]).names,
                         ["idx", "baro_Timestamp[sec]", "press[hPa]", "rel_alt[m]"])
        self.assertEqual(self.columns(program, ["magnetometer", "movement"]).names,
                         ["idx", "imu_Timestamp[sec]", "mag_Timestamp[sec]", "magX[uT]", "magY[uT]", "magZ[uT]",
                          "moving"])
        self.close(program)

    def test_settings_live_on_to_the_next_start(self):
        first = self.start_streaming()
        corner = control.open_options(first)
        control.switch(corner, "barometer", False)
        control.choose_frequency(first, corner, 3)
        control.press(first, corner, "ok")
        self.assertEqual(first.end(), 0)
        second = self.start_streaming(folder=first.folder)
        corner = control.open_options(second)
        self.assertFalse(control.is_on(corner, "barometer"))
        self.assertTrue(control.is_on(corner, "gyroscope"))
        control.press(second, corner, "ok")
        self.assertEqual(control.stored(second)["sample_freq"], "50")
        self.close(second)

    def test_frequency_of_30_shows_as_400_and_ok_stores_that(self):
        program = self.start_streaming(settings={"sample_freq": 30})
        control.press(program, control.open_options(program), "ok")
        self.assertEqual(control.stored(program)["sample_freq"], "400")
        self.close(program)

    def test_options_are_closed_while_recording(self):
        program = self.start_streaming()
        path = control.start_recording(program)
        screen.click(CONTROLS["gear"])
        control.wait_for_rows(path, 50)
        self.assertIsNone(screen.window(program.pid, control.DIALOG))
        control.stop_recording(program, path)
        control.press(program, control.open_options(program), "cancel")
        self.close(program)


class Values(world.EndToEndTest):

    def test_resting_camera_is_recorded_to_the_last_digit(self):
        pose = {"heading": 37.0, "pitch": -12.0, "roll": 71.0}
        program = self.start_streaming(20000001, bench=[camera("TIV_Q", 20000001, motion="at rest", pose=pose)])
        path = control.start_recording(program)
        control.wait_for_rows(path, 300)
        control.stop_recording(program, path)
        file = recording.Recording(path)
        file.check_order()
        file.check_emitted(emitted.Camera(20000001, pose=emitted.heading_pose(37.0, -12.0, 71.0)),
                           most_numbers(program))
        self.close(program)

    def fewer_sensors(self, model, emitting):
        program = self.start_streaming(20000003, bench=[camera(model, 20000003)])
        path = control.start_recording(program)
        control.wait_for_rows(path, 200)
        control.stop_recording(program, path)
        self.assertEqual(control.name_parts(path), (model, "20000003"))
        recording.Recording(path).check_emitted(emitting, most_numbers(program))
        self.close(program)

    def test_columns_of_a_camera_without_board_sensors_are_0(self):
        self.fewer_sensors("TIV_N", emitted.Camera(20000003, full=False, thermometer=False))

    def test_only_temperature_of_a_camera_fills_all_four_columns(self):
        self.fewer_sensors("TIV_R", emitted.Camera(20000003, full=False))

    def test_decimal_comma_of_the_locale_changes_nothing(self):
        # The locale is made on the spot, so that the system needs none but C.
        self.assertTrue(os.path.exists("/usr/share/i18n/locales/de_DE"), "install the package locales")
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", f"{folder}/de_DE.UTF-8"], check=True)
            german = {"LC_ALL": "de_DE.UTF-8", "LANG": "de_DE.UTF-8", "LOCPATH": folder}
            proof = subprocess.run(["bash", "-c", "printf %.2f 1,5"], env={**os.environ, **german},
                                   capture_output=True, text=True, check=True)
            self.assertEqual(proof.stdout, "1,50", "the locale has no decimal comma")
            program = self.start_streaming(environment=german)
            path = control.start_recording(program)
            control.wait_for_rows(path, 200)
            control.stop_recording(program, path)
            file = recording.Recording(path)  # points, nine digits, fields parted by commas
            file.check_order()
            file.check_emitted(emitted.Camera(TIV_Q), most_numbers(program))
            self.assertTrue(all(t < time.time() + 1 for t in file.column("imu_Timestamp[sec]")))
            self.close(program)

    def test_name_holds_the_local_time_of_the_start(self):
        program = self.start_streaming(environment={"TZ": "Asia/Kolkata"})
        before = time.time()
        path = control.start_recording(program)
        after = time.time()
        stamps = {time.strftime("%Y%m%d_%H%M%S", time.gmtime(t + 5.5 * 3600))
                  for t in range(int(before), int(after) + 1)}
        self.assertIn(path.name[:15], stamps)
        control.stop_recording(program, path)
        self.close(program)


class Course(world.EndToEndTest):

    def test_second_recording_is_a_second_file_and_the_index_counts_on(self):
        program = self.start_streaming()
        wait_for("the idle button", control.is_idle)
        width = control.text_width()
        first = control.start_recording(program)
        wait_for("\"Recording...\"", lambda: control.text_width() > 1.4 * width)
        control.wait_for_rows(first, 20)
        control.stop_recording(program, first)
        wait_for("\"Record\"", lambda: abs(control.text_width() - width) <= 3)
        wait_for("the next second", lambda: int(time.time()) > int(first.stat().st_mtime))
        kept = first.read_bytes()
        second = control.start_recording(program)
        control.wait_for_rows(second, 20)
        control.stop_recording(program, second)
        self.assertEqual(first.read_bytes(), kept)
        self.assertGreater(recording.Recording(second).column("idx")[0], recording.Recording(first).column("idx")[-1])
        self.close(program)

    def first_row_of(self, stamps, second, most):
        """Where the rows of a second camera begin: behind the gap of its opening, and with the times that it emits."""
        for i in range(1, len(stamps)):
            if stamps[i] - stamps[i - 1] > 15_000:
                try:
                    second.fit(stamps[i:i + 20], most)
                    return i
                except AssertionError:
                    pass
        gaps = sorted(b - a for a, b in zip(stamps, stamps[1:]))
        self.fail(f"no rows of the second camera; the widest gaps are {gaps[-5:]} us")

    def test_change_of_row_keeps_the_recording(self):
        program = self.start_streaming()
        path = control.start_recording(program)
        control.wait_for_rows(path, 100)
        screen.choose(program.pid, CONTROLS["camera list"], 1, 3)
        program.wait_for_streaming(TIV_P)
        self.assertTrue(control.is_pressed())
        self.assertTrue(control.is_open(program, path))
        control.wait_for_rows(path, 200)
        control.stop_recording(program, path)
        self.assertEqual(control.recordings(program), [path])
        self.assertEqual(control.name_parts(path), ("TIV_Q", str(TIV_Q)))
        file = recording.Recording(path)
        file.check_order()  # the index too runs on
        rows, leap = file.rows, self.first_row_of(file.stamps("imu"), tiv_p(), most_numbers(program))
        self.assertLess(rows[leap][0] - rows[leap - 1][0], 40)
        file.rows = rows[:leap]
        file.check_emitted(emitted.Camera(TIV_Q), most_numbers(program))
        file.rows = rows[leap:]
        file.check_emitted(tiv_p(), most_numbers(program))
        self.close(program)

    def test_calibration_keeps_the_recording_and_starts_the_index_again(self):
        program = self.start_streaming()
        path = control.start_recording(program)
        control.wait_for_rows(path, 300)
        screen.click(CONTROLS["mag"])
        wait_for("the magnetometer", lambda: Picture.take().share(CONTROLS["mag"], screen.LIME) > 0.8)
        wait_for("the calibration button", lambda: Picture.take().share(CONTROLS["calib"], None) > 0.01)
        former = {w[0] for w in screen.windows(program.pid)}
        screen.click(CONTROLS["calib"])
        title = wait_for("the dialog", lambda: next((w[0] for w in screen.windows(program.pid)
                                                     if w[0] not in former and w[3] > 1000), None))
        x, y, width, height = screen.window(program.pid, title)
        before = path.stat().st_size
        self.assertTrue(control.is_open(program, path))
        # The exit button is the last one of the left column.
        screen.click((x + 20, y + height - 54, 280, 54))
        screen.wait_until_gone(program.pid, title)
        program.wait_for_streaming(TIV_Q)
        wait_for("rows again", lambda: path.stat().st_size > before + 1000)
        wait_for("the pressed button", control.is_pressed)
        control.stop_recording(program, path)
        file = recording.Recording(path)
        idx = file.column("idx")
        falls = [i for i in range(1, len(idx)) if idx[i] <= idx[i - 1]]
        self.assertEqual(len(falls), 1, "the index starts anew once")
        self.assertLess(idx[falls[0]], 40)
        rows = file.rows
        for part in (rows[:falls[0]], rows[falls[0]:]):
            file.rows = part
            file.check_order()
            file.check_emitted(emitted.Camera(TIV_Q), most_numbers(program))
        self.close(program)

    def test_closing_the_window_leaves_a_whole_file(self):
        program = self.start_streaming()
        path = control.start_recording(program)
        control.wait_for_rows(path, 200)
        self.assertEqual(program.end(), 0, program.errors())
        self.assertEqual(program.errors(), [])
        kept = recording.Recording(path)
        kept.check_order()
        self.assertGreater(len(kept), 200)
        self.assertGreater(kept.column("imu_Timestamp[sec]")[-1], path.stat().st_mtime - 2.0)

    def test_button_without_a_camera_stays_pressed_and_records_nothing(self):
        program = self.start(bench=[])
        screen.wait_for_window(program.pid, "Gravimon")
        wait_for("the idle button", control.is_idle)
        screen.click(CONTROLS["record"])
        wait_for("the pressed button", control.is_pressed)
        self.assertEqual(control.recordings(program), [])
        screen.click(CONTROLS["record"])
        wait_for("the idle button", control.is_idle)
        self.assertEqual(control.recordings(program), [])
        self.close(program)


if __name__ == "__main__":
    world.main()
