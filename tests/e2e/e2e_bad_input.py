"""Bench files with mistakes and folders that can't be written: one clear line, and the program continues."""

import math
import os
import pathlib
import re
import signal
import struct
import subprocess
import zlib

import screen
import world
from waiting import wait_for
from world import TIV_P, TIV_Q

GOOD = """{
  "cameras": [
    {
      "model": "TIV_Q",
      "serialNumber": 20000001
    },
    {
      "model": "TIV_P",
      "serialNumber": 20000002
    }
  ]
}
"""


class CommandLine(world.EndToEndTest):

    def test_arguments_change_nothing(self):
        program = self.start(arguments=("--help", "--version", "--nonsense", "bench.json"))
        program.wait_for_streaming(TIV_Q)
        self.close(program)

    def test_options_of_qt_are_left_to_qt(self):
        program = self.start(arguments=("-display", os.environ["DISPLAY"]), without=("DISPLAY", "QT_QPA_PLATFORM"))
        program.wait_for_streaming(TIV_Q)
        self.close(program)

    def test_qt_reports_a_missing_display(self):
        program = self.start(without=("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM",
                                      "QT_LOGGING_RULES"))
        wait_for("the end of the program", lambda: not program.is_running())
        self.assertEqual(program.process.returncode, -signal.SIGABRT)
        text = "\n".join(program.errors())
        self.assertIn("could not connect to display", text)
        self.assertNotIn("gravimon:", text)


class BenchFile(world.EndToEndTest):

    def rejected(self, text, place, reason):
        """The file gives one line FILE[:LINE]: [KEY: ]REASON and an empty bench; the program runs on."""
        program = self.start(bench=text)
        screen.wait_for_window(program.pid, "Gravimon")
        wait_for("the bench answers", lambda: program.control.exists())
        self.assertEqual(program.om_bench("list")["cameras"], [])
        wait_for("a line on standard error", program.errors)
        # A camera that is added by hand proves that detection goes on.
        program.om_bench("add", "TIV_P", 20000009)
        program.wait_for_streaming(20000009)
        self.assertEqual(len(program.errors()), 1, program.errors())
        # The line may say who speaks before the file's name.
        expected = r"(om_tiv: )?" + re.escape(str(program.bench_file)) + place + reason
        self.assertRegex(program.errors()[0], re.compile(f"^{expected}$"))
        self.assertEqual(program.end(), 0)
        self.assertEqual(len(program.errors()), 1, program.errors())

    def test_good_file_is_taken(self):
        program = self.start_streaming(20000001, bench=GOOD)
        self.assertEqual(list(program.cameras()), [20000001, 20000002])
        self.close(program)

    def test_syntax_error(self):
        self.rejected(GOOD.replace('"TIV_P",', '"TIV_P"'), ":9: ", ".+")

    def test_file_that_ends_too_early(self):
        self.rejected(GOOD[:GOOD.rindex("]")], r":\d+: ", ".+")

    def test_unknown_key(self):
        self.rejected(GOOD.replace('"model": "TIV_P"', '"modell": "TIV_P", "model": "TIV_P"'), ":8: ",
                      r"cameras\[1\]\.modell: .+")

    def test_wrong_type(self):
        self.rejected(GOOD.replace("20000002", '"20000002"'), ":9: ", r"cameras\[1\]\.serialNumber: .+")

    def test_serial_number_given_twice(self):
        self.rejected(GOOD.replace("20000002", "20000001"), ":9: ", r"cameras\[1\]\.serialNumber: .+")

    def test_unknown_model(self):
        self.rejected(GOOD.replace("TIV_P", "TIV_X"), ":8: ", r"cameras\[1\]\.model: .+")

    def test_missing_file(self):
        program = self.start(environment={"OM_TIV_BENCH": "/nowhere/bench.json"})
        screen.wait_for_window(program.pid, "Gravimon")
        wait_for("a line on standard error", program.errors)
        self.assertEqual(program.om_bench("list")["cameras"], [])
        self.assertEqual(len(program.errors()), 1, program.errors())
        self.assertIn("/nowhere/bench.json", program.errors()[0])
        self.assertEqual(program.end(), 0)


class StateFolder(world.EndToEndTest):

    def test_unwritable_folder_is_reported_once_and_the_camera_streams(self):
        # No user can create a folder there, not even root.
        program = self.start_streaming(environment={"OM_TIV_STATE_DIR": "/proc/gravimon"})
        self.assertEqual(program.errors(), [], "nothing was to be stored yet")
        for serial in (TIV_Q, TIV_P, TIV_Q):
            with self.assertRaisesRegex(RuntimeError, "could not be written"):
                program.om_bench("eeprom", "erase", serial)
        # Each opening reads the image.
        program.om_bench("unplug", TIV_Q)
        program.wait_for_streaming(TIV_P)
        program.om_bench("plug", TIV_Q)
        program.wait_for_samples(TIV_P, 400)
        self.assertEqual(program.end(), 0, program.errors())
        self.assertEqual(len(program.errors()), 1, program.errors())
        self.assertIn("/proc/gravimon", program.errors()[0])

    def test_calibration_without_numbers_is_shown(self):
        content = b"GVEE" + struct.pack("<III6f", 1, 28, TIV_Q, math.nan, 0.5, 0.25, 0.0, math.nan, 1.5)
        program = self.start()
        (program.folder / "state" / f"{TIV_Q}.eeprom").write_bytes(content + struct.pack("<I", zlib.crc32(content)))
        program.wait_for_streaming(TIV_Q)
        shown = subprocess.run([str(world.bin_dir / "om-bench"), "--socket", str(program.control), "eeprom", "show",
                                str(TIV_Q)], capture_output=True, text=True, check=True).stdout
        self.assertEqual(shown, "scale nan 0.5 0.25\noffset 0 nan 1.5\nneutral no\n")
        self.close(program)

    def test_images_lie_in_the_state_folder(self):
        program = self.start_streaming()
        program.om_bench("eeprom", "erase", TIV_Q)
        self.assertTrue([p for p in pathlib.Path(program.folder / "state").rglob("*") if str(TIV_Q) in p.name])
        self.close(program)


if __name__ == "__main__":
    world.main()
