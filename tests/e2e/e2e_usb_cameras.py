"""The built program among emulated USB cameras: what the calibration takes from the machine's own device list."""

import os
import pathlib
import subprocess

import calibration_control as calibration
import screen
import world
from screen import CONTROLS, Picture
from waiting import wait_for
from world import TIV_Q, camera

# The virtual camera's own USB entry is one that the calibration passes over, so that only an emulated
# device brings its serial number into the list.
PASSED_OVER = 0xA141
# Hard iron in the axes of the body.
IRON = (18.5, -24.0, 11.5)
BENCH = [camera("TIV_Q", TIV_Q, usbProductId=PASSED_OVER, hardIron=IRON)]

DIALOG = "Magnetometer Calibration"
ERROR = "TIV Camera error"
STARTING = "Calibration starting..."
STOPPED = "Calibration stopped"
STORE_QUESTION = "Warning!"
UNSAVED_QUESTION = "TIV Magnetometer Calibration"
# From the dialog's corner.
START = (0, 80, 254, 54)
STORE = (0, 188, 254, 54)
EXIT = (0, 793, 320, 54)


class EmulatedCameras(world.EndToEndTest):

    def start_with(self, *devices):
        """The program among these USB devices, each PRODUCT:RELEASE:SERIAL, and with a line to plug more."""
        place = pathlib.Path(os.environ["HOME"]).parent
        self.commands = place / f"usb-{self._testMethodName[-24:]}"
        os.mkfifo(self.commands)
        self.addCleanup(self.commands.unlink)
        bed = [str(world.bin_dir / "hidbed"), "-c", str(self.commands), *devices, "--"]
        program = self.start(bench=BENCH, wrapper=bed)
        self.gravimon = wait_for("the program in the testbed", lambda: self.child_of(program.pid))
        program.wait_for_state(TIV_Q, "streaming")
        screen.wait_for_window(self.gravimon, "Gravimon")
        program.wait_for_samples(TIV_Q, 40)
        return program

    @staticmethod
    def child_of(pid):
        found = subprocess.run(["pgrep", "-P", str(pid), "-x", "gravimon"], capture_output=True, text=True,
                               check=False).stdout.split()
        return int(found[0]) if found else None

    def usb(self, line):
        self.commands.write_text(line + "\n", encoding="utf-8")

    def open_calibration(self):
        screen.click(CONTROLS["mag"])
        wait_for("the magnetometer is chosen", lambda: Picture.take().share(CONTROLS["mag"], screen.LIME) > 0.8)
        screen.click(CONTROLS["calib"])

    def assert_link_is_open(self, program):
        """The viewer lets go of the camera before the dialog is made, so whoever has it now is the dialog."""
        screen.wait_for_window(self.gravimon, DIALOG)
        self.assertEqual(program.state(TIV_Q), "streaming")
        before = program.samples_read(TIV_Q)
        # The dialog shows what it reads.
        for _ in range(3):
            look = self.dialog()
            wait_for("another heading", lambda l=look: self.dialog() != l)
        self.assertEqual(program.samples_read(TIV_Q), before, "the viewer has the camera still")

    def dialog(self):
        """What it looks like."""
        return Picture.take().crop(screen.wait_for_window(self.gravimon, DIALOG))

    def box(self, *titles):
        """Waits for a message box with one of these titles, drawn to the end, and answers it with the button that
        goes on. Returns the title and the look."""
        title = wait_for(f"one of {titles}", lambda: next((t for t in titles if screen.window(self.gravimon, t)), None))
        area = screen.wait_for_window(self.gravimon, title)
        button = wait_for(f"the button of \"{title}\"", lambda: Picture.take().bounds(area, screen.LIME, 0.01))
        look = Picture.take().crop(area)
        screen.click(button)
        screen.wait_until_gone(self.gravimon, title)
        return title, look

    @staticmethod
    def stored_calibration(program):
        stored = program.om_bench("eeprom", "show", TIV_Q)
        return None if stored["neutral"] else stored

    def press(self, button):
        screen.click(button, screen.wait_for_window(self.gravimon, DIALOG)[:2])

    def leave(self, program, state="streaming"):
        self.press(EXIT)
        # A slow machine lets the dialog collect enough for a result, which it asks about.
        wait_for("the dialog's end or its question", lambda: screen.window(self.gravimon, DIALOG) is None
                 or screen.window(self.gravimon, UNSAVED_QUESTION))
        if screen.window(self.gravimon, UNSAVED_QUESTION):
            self.box(UNSAVED_QUESTION)
        screen.wait_until_gone(self.gravimon, DIALOG)
        program.wait_for_state(TIV_Q, state)
        if state == "streaming":
            program.wait_for_samples(TIV_Q, 40)
        self.close(program)

    def test_camera_on_usb_is_calibrated(self):
        program = self.start_with(f"A341:0200:{TIV_Q}")
        self.open_calibration()
        self.assert_link_is_open(program)
        self.press(START)
        self.assertEqual(self.box(ERROR, STARTING)[0], STARTING)
        calibration.turn_all_ways(program, TIV_Q)
        self.press(START)
        self.box(STOPPED)
        self.assertTrue(program.om_bench("eeprom", "show", TIV_Q)["neutral"])
        self.press(STORE)
        self.box(STORE_QUESTION)
        stored = wait_for("the calibration in the EEPROM", lambda: self.stored_calibration(program))
        # The axes of the sensor are down, left and forward, the body's -y, -x and -z.
        for offset, iron in zip(stored["offset"], (IRON[1], IRON[0], IRON[2])):
            self.assertAlmostEqual(offset, -iron, delta=2.0)
        self.leave(program)

    def test_camera_without_a_product_id_is_known_by_its_serial_number(self):
        program = self.start_with(f"0000:0200:{TIV_Q}")
        self.open_calibration()
        self.assert_link_is_open(program)
        self.leave(program)

    def test_another_product_and_another_serial_number_do_not_count(self):
        program = self.start_with(f"A141:0200:{TIV_Q}", "A341:0200:30000001")
        self.open_calibration()
        self.box(ERROR)
        self.press(START)
        self.assertEqual(self.box(ERROR, STARTING)[0], ERROR)
        self.assertEqual(program.state(TIV_Q), "plugged")
        self.leave(program)

    def test_camera_plugged_in_later_is_found_by_the_next_start(self):
        program = self.start_with()
        self.open_calibration()
        self.box(ERROR)
        self.usb(f"add A341:0200:{TIV_Q}")
        wait_for("the camera is found", lambda: self.press(START) or self.box(ERROR, STARTING)[0] == STARTING)
        self.assert_link_is_open(program)
        self.leave(program)

    def test_listed_camera_that_does_not_answer_cannot_be_opened(self):
        program = self.start_with()
        self.open_calibration()
        _, not_detected = self.box(ERROR)
        self.press(START)
        self.assertEqual(self.box(ERROR)[1], not_detected)
        # The USB device is there, its microcontroller is not.
        program.om_bench("unplug", TIV_Q)
        self.usb(f"add A341:0200:{TIV_Q}")

        def other_message():
            self.press(START)
            return self.box(ERROR)[1] != not_detected
        wait_for("another message than that of a camera not detected", other_message)
        self.leave(program, "unplugged")


if __name__ == "__main__":
    world.main()
