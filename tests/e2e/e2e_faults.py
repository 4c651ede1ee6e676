"""Each fault of the bench with the built program: display, recording and continued operation."""

import time

import calibration_control as calibration
import livefile
import screen
import world
from screen import LIME, Picture
from waiting import wait_for
from world import TIV_Q, camera

SERIAL = 20000001
EEPROM_NEUTRAL = [1.0, 1.0, 1.0]


class FaultTest(world.EndToEndTest):

    def begin(self, **members):
        self.program = self.start_streaming(SERIAL, bench=[camera("TIV_Q", SERIAL, **members)])
        return self.program

    def fault(self, name, value="on"):
        self.program.om_bench("fault", SERIAL, name, value)

    def clear(self):
        self.program.om_bench("fault", SERIAL, "none")

    def faults(self):
        return self.program.camera(SERIAL)["faults"]

    def titles(self):
        return [w[0] for w in screen.windows(self.program.pid)]

    def reopen(self):
        self.program.om_bench("unplug", SERIAL)
        self.program.om_bench("plug", SERIAL)


class Opening(FaultTest):

    def test_refused_open_is_tried_again_until_it_goes(self):
        program = self.begin()
        self.fault("openResult", 9)
        self.reopen()
        self.fault("openRefusals", 1000)
        # Again and again, without a word and without a stream.
        wait_for("some refusals", lambda: self.faults()["openRefusals"] < 997)
        self.assertEqual(program.state(SERIAL), "plugged")
        self.assertEqual(self.titles(), ["Gravimon"])
        self.fault("openRefusals", 2)
        program.wait_for_streaming(SERIAL)
        self.assertEqual(self.faults()["openRefusals"], 0)
        self.close(program)

    def test_slow_open_is_waited_for(self):
        program = self.begin()
        self.fault("openDelay", 2000)
        begin = time.monotonic()
        self.reopen()
        program.wait_for_streaming(SERIAL)
        self.assertGreater(time.monotonic() - begin, 1.9)
        self.assertEqual(self.titles(), ["Gravimon"])
        self.close(program)

    def test_old_firmware_is_reported_in_a_box(self):
        program = self.start(bench=[camera("TIV_Q", SERIAL, firmware=1)])
        self.program = program
        calibration.answer(program, "Warning")
        # The camera was opened again while the box was shown; there is no second box.
        program.wait_for_streaming(SERIAL)
        program.wait_for_samples(SERIAL, 400)
        self.assertEqual(self.titles(), ["Gravimon"])
        self.close(program)

    def test_too_little_gpu_memory_is_reported_in_a_box(self):
        program = self.start(bench=[camera("TIV_Q", SERIAL, faults={"littleGpuMemory": True})])
        self.program = program
        x, y, width, height = screen.wait_for_window(program.pid, "Error")
        self.assertTrue(wait_for("the box's button", lambda: Picture.take().bounds((x, y, width, height), LIME, 0.01)))
        self.assertEqual(program.camera(SERIAL)["samplesRead"], 0)
        # It comes back until there is memory.
        calibration.answer(program, "Error")
        screen.wait_for_window(program.pid, "Error")
        self.assertEqual(program.camera(SERIAL)["samplesRead"], 0)
        self.clear()
        calibration.answer(program, "Error")
        program.wait_for_streaming(SERIAL)
        self.close(program)


class Streaming(FaultTest):

    def test_unplugged_camera_is_lost_and_comes_back(self):
        program = self.begin()
        for _ in range(3):
            program.om_bench("unplug", SERIAL)
            self.assertEqual(program.state(SERIAL), "unplugged")
            program.om_bench("plug", SERIAL)
            program.wait_for_streaming(SERIAL)
        self.close(program)

    def test_failed_grabs_pass_by(self):
        program = self.begin()
        read = program.samples_read(SERIAL)
        self.fault("grabFailureResult", 7)
        self.fault("grabFailures", 50)
        wait_for("the failures are used up", lambda: "grabFailures" not in self.faults())
        self.assertGreater(program.samples_read(SERIAL), read, "the camera was opened anew")
        program.wait_for_samples(SERIAL, 200)
        self.assertEqual(self.titles(), ["Gravimon"])
        self.close(program)

    def test_grab_that_reports_a_loss_opens_the_camera_again(self):
        program = self.begin()
        produced = program.camera(SERIAL)["samplesProduced"]
        self.assertGreater(produced, 0)
        begin = time.monotonic()
        self.fault("grabFailureResult", 4)
        self.fault("grabFailures", 1)

        def was_opened():
            """The count starts again with the opening: it is less than what the camera has produced since the begin."""
            now = time.monotonic()
            return program.camera(SERIAL)["samplesProduced"] < 400 * (now - begin)
        wait_for("a new opening", was_opened)
        program.wait_for_streaming(SERIAL)
        self.assertNotIn("grabFailures", self.faults())
        self.close(program)

    def test_timestamps_that_stand_bring_no_samples(self):
        program = self.begin()
        live = livefile.LiveFile(program)
        self.fault("frozenTimestamps")
        wait_for("no more rows", lambda: self.stands(live))
        self.assertTrue(self.stands(live))
        self.clear()
        live.wait_for_more(100)
        live.stop()
        self.close(program)

    @staticmethod
    def stands(live):
        before = live.path.stat().st_size
        live.program.wait_for_samples(SERIAL, 200)
        return live.path.stat().st_size == before

    def test_repeated_timestamps_are_taken_once(self):
        program = self.begin()
        live = livefile.LiveFile(program)

        def pace():
            """The least time between two samples that the program takes, s; the index counts them."""
            rows = live.wait_for_more(100)
            return min((b["imu_Timestamp[sec]"] - a["imu_Timestamp[sec]"]) / (b["idx"] - a["idx"])
                       for a, b in zip(rows, rows[1:]))
        wait_for("all samples", lambda: pace() < 0.0030)
        self.fault("repeatedTimestamps")
        wait_for("half the samples", lambda: pace() > 0.0048)
        self.clear()
        wait_for("all samples again", lambda: pace() < 0.0030)
        live.stop()
        self.close(program)

    def test_absent_sensors_stand_and_come_back(self):
        program = self.begin()
        live = livefile.LiveFile(program)

        def standing(last):
            """Which of the columns kept one value over the newest rows."""
            rows = live.wait_for_more(last)
            return {name for name in live.names if len({row[name] for row in rows}) == 1}
        slow = {"mag_Timestamp[sec]", "baro_Timestamp[sec]", "press[hPa]"}
        self.assertFalse(standing(100) & slow)
        for fault, columns, values in (
                ("barometerAbsent", {"baro_Timestamp[sec]"}, ("press[hPa]", "rel_alt[m]")),
                ("magnetometerAbsent", {"mag_Timestamp[sec]"}, ("magX[uT]", "magY[uT]", "magZ[uT]"))):
            self.fault(fault)
            wait_for(f"{fault} shows", lambda c=columns: c <= standing(100))
            self.assertEqual(standing(100) & {"baro_Timestamp[sec]", "mag_Timestamp[sec]", "imu_Timestamp[sec]"}, columns)
            row = live.latest()
            self.assertEqual([row[name] for name in values], [0.0] * len(values), fault)
            self.clear()
            wait_for(f"{fault} is over", lambda c=columns: not c & standing(100))
            self.assertTrue(any(live.latest()[name] != 0.0 for name in values), fault)
        live.stop(absent=True)
        self.close(program)

    def test_absent_temperatures_are_stood_in_for(self):
        program = self.begin(startTemperatures=[20, 40, 60, 80])
        live = livefile.LiveFile(program)
        row = live.latest()
        self.assertGreater(row["temp_right[C]"] - row["temp_left[C]"], 15.0)
        self.fault("boardTemperaturesAbsent")
        # The temperature of the IMU takes their place; it rises by 12 degrees at most.
        live.wait_until("20 to 32 degrees left and right",
                        lambda r: 19.0 < r["temp_left[C]"] < 33.0 and r["temp_left[C]"] == r["temp_right[C]"])
        self.fault("imuTemperatureAbsent")
        live.wait_for_more(100)
        # Without any the last ones stand.
        standing = {(row["temp_left[C]"], row["temp_right[C]"]) for row in live.wait_for_more(100)}
        self.assertEqual(len(standing), 1, standing)
        self.clear()
        live.wait_until("60 degrees left, 80 right",
                        lambda r: r["temp_left[C]"] > 55.0 and r["temp_right[C]"] > 75.0)
        live.stop()
        self.close(program)

    def test_saturated_and_disturbed_magnetometer(self):
        program = self.begin(motion="at rest")
        live = livefile.LiveFile(program)

        def spread(rows=200):
            values = [row["magX[uT]"] for row in live.wait_for_more(rows)]
            return max(values) - min(values)
        self.assertLess(spread(), 10.0)
        self.fault("magnetometerSaturated")
        live.wait_until("a field out of range", lambda r: r["magZ[uT]"] == 2048.0)
        self.clear()
        live.wait_until("a field in range", lambda r: abs(r["magZ[uT]"]) < 200.0)
        self.fault("magneticDisturbance", 500)
        wait_for("a field that swings", lambda: spread() > 100.0)
        self.clear()
        wait_for("a steady field", lambda: spread() < 10.0)
        live.stop()
        self.close(program)


class Microcontroller(FaultTest):

    def calibrate(self, program):
        """Up to a calibration that can be stored; returns the look of the state's line before the end."""
        calibration.open_dialog(program)
        calibration.start(program)
        calibration.turn_all_ways(program, SERIAL)
        while_calibrating = self.state_picture()
        calibration.stop(program)
        return while_calibrating

    def state_picture(self):
        return Picture.take().crop(calibration.area(self.program, "state"))

    def scales(self):
        return self.program.om_bench("eeprom", "show", SERIAL)["scale"]

    def store(self, program):
        """Presses store, and returns whether the failure's box comes up behind the question."""
        calibration.press(program, "store")
        calibration.answer(program, calibration.WARNING)
        before = self.scales()

        def outcome():
            if calibration.WARNING in calibration.boxes(program):
                return "failed"
            picture = Picture.take().crop(calibration.area(program, "state"))
            return "stored" if picture != self.pending else None
        found = wait_for("the store's outcome", outcome)
        if found == "failed":
            calibration.answer(program, calibration.WARNING)
            self.assertEqual(Picture.take().crop(calibration.area(program, "state")), self.pending)
        return found, before

    def test_store_that_is_refused_or_reads_back_differently(self):
        program = self.begin()
        while_calibrating = self.calibrate(program)
        # The line says that the calibration is to be stored from the next update on.
        wait_for("the new state", lambda: self.state_picture() != while_calibrating)
        self.pending = self.state_picture()
        self.fault("eepromWriteRefused")
        self.assertEqual(self.store(program)[0], "failed")
        self.assertEqual(self.scales(), EEPROM_NEUTRAL)
        self.clear()
        # Ten tries are made, so that ten differences are one too many, and nine are not.
        self.fault("eepromReadbackDiffers", 10)
        self.assertEqual(self.store(program)[0], "failed")
        self.assertNotIn("eepromReadbackDiffers", self.faults())
        self.fault("eepromReadbackDiffers", 9)
        self.assertEqual(self.store(program)[0], "stored")
        self.assertNotIn("eepromReadbackDiffers", self.faults())
        self.assertNotEqual(self.scales(), EEPROM_NEUTRAL)
        calibration.leave(program)
        program.wait_for_streaming(SERIAL)
        self.close(program)

    def test_link_that_is_refused_is_reported_in_a_box(self):
        program = self.begin()
        self.fault("mcuOpenRefused")
        screen.click(screen.CONTROLS["mag"])
        wait_for("the calibration's button", lambda: Picture.take().share(screen.CONTROLS["mag"], LIME) > 0.8)
        screen.click(screen.CONTROLS["calib"])
        calibration.answer(program, calibration.ERROR)
        calibration.leave(program)
        self.clear()
        program.wait_for_streaming(SERIAL)
        self.close(program)

    def test_silent_microcontroller_is_reported_in_a_box(self):
        program = self.begin()
        calibration.open_dialog(program)
        calibration.start(program)
        self.fault("mcuSilent")
        calibration.answer(program, calibration.ERROR)
        # The reading thread has ended and is not joined: leaving ends the process, as declared.
        self.assertTrue(program.is_running())
        self.assertEqual(calibration.boxes(program), [])


if __name__ == "__main__":
    world.main()
