"""tests/support/run-test: what a test takes over from its caller, and what it does not.

    python3 tests/tools/test_run_test.py PROJECT_FOLDER
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

root = pathlib.Path(sys.argv.pop(1))
LIMIT = 60  # s


def run(*words, **keywords):
    return subprocess.run([root / "tests/support/run-test", *words], check=False, capture_output=True, text=True,
                          timeout=LIMIT, **keywords)


class RunTest(unittest.TestCase):

    def test_exit_status_is_that_of_the_test(self):
        self.assertEqual(run("sh", "-c", "exit 7").returncode, 7)

    def test_path_with_an_equals_sign_is_a_program(self):
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder, "a=b", "program")
            program.parent.mkdir()
            program.write_text("#!/bin/sh\nexit 7\n", encoding="utf-8")
            program.chmod(0o755)
            self.assertEqual(run(program).returncode, 7)

    def test_signals_that_the_caller_ignores_are_not_ignored(self):
        def ignore():
            for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM, signal.SIGPIPE):
                signal.signal(number, signal.SIG_IGN)

        done = run("grep", "SigIgn", "/proc/self/status", preexec_fn=ignore, restore_signals=False)
        self.assertEqual((done.stdout, done.stderr), ("SigIgn:\t0000000000000000\n", ""))

    def test_a_tool_keeps_the_signals_that_nohup_ignores(self):
        done = run("grep", "SigIgn", "/proc/self/status", restore_signals=False,
                   preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN),
                   env={**os.environ, "GRAVIMON_KEEP_SIGNALS": "1"})
        ignored = int(done.stdout.split()[1], 16)
        self.assertTrue(ignored & 1 << (signal.SIGHUP - 1), done.stdout)

    def test_settings_of_the_callers_desktop_do_not_reach_the_test(self):
        names = ("QT_SCALE_FACTOR", "QT_FONT_DPI", "QT_IM_MODULE", "LANGUAGE", "TZ", "XDG_DATA_HOME", "OM_TIV_BENCH",
                 "XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION", "GNOME_DESKTOP_SESSION_ID",
                 "SESSION_MANAGER", "AT_SPI_BUS_ADDRESS", "QT_ACCESSIBILITY", "QT_LINUX_ACCESSIBILITY_ALWAYS_ON",
                 "QT_SCREEN_SCALE_FACTORS")
        done = run("env", env={**os.environ, **dict.fromkeys(names, "2"), "DBUS_SESSION_BUS_ADDRESS": "2",
                                "LATE_THREADS_SEED": "1"})
        variables = dict(line.split("=", 1) for line in done.stdout.splitlines())
        self.assertEqual(variables["LATE_THREADS_SEED"], "1")  # CTest's own variables come through
        self.assertEqual(variables["DBUS_SESSION_BUS_ADDRESS"], "disabled:")
        for name in names:
            self.assertNotIn(name, variables)

    def test_sanitizers_accept_their_options_in_any_folder(self):
        with tempfile.TemporaryDirectory() as folder:
            support = pathlib.Path(folder, "a b'c,d:e").resolve()
            support.mkdir()
            shutil.copy(root / "tests/support/run-test", support)
            program = support / "program"
            # The one sanitizer that starts whatever the addresses of the kernel.
            subprocess.run(["c++", "-x", "c++", "-fsanitize=leak", "-o", program, "-"], input="int main() { return 0; }\n",
                           check=True, text=True, timeout=LIMIT)
            for command, expected in (((program,), ""), (("printenv", "LSAN_OPTIONS"), f'suppressions="{support}/lsan.supp":'),
                                      (("printenv", "TSAN_OPTIONS"), f'suppressions="{support}/tsan.supp":')):
                done = subprocess.run([support / "run-test", *command], check=False, capture_output=True, text=True,
                                      timeout=LIMIT, env={**os.environ, "LSAN_OPTIONS": "detect_leaks=0"})
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertTrue(done.stdout.startswith(expected), done.stdout)

    def test_home_and_modes_of_files_are_the_tests_own(self):
        done = run("sh", "-c", "umask; echo $HOME", umask=0o777)
        mask, home = done.stdout.splitlines()
        self.assertEqual((mask, done.stderr), ("0022", ""))
        self.assertNotEqual(home, os.environ.get("HOME"))
        self.assertFalse(os.path.exists(home))  # gone with the test

    def test_descriptor_0_is_open(self):
        done = run("sh", "-c", "readlink /proc/self/fd/0", preexec_fn=lambda: os.close(0))
        self.assertEqual((done.stdout, done.stderr), ("/dev/null\n", ""))


if __name__ == "__main__":
    unittest.main()
