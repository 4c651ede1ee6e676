"""./run: its arguments, its timer, and the bench that it asks. Setup, build, display and programs are scripts.

    python3 tests/tools/test_run.py PROJECT_FOLDER
"""

import contextlib
import os
import pathlib
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import unittest

root = pathlib.Path(sys.argv.pop(1))
LIMIT = 60  # s
LONGER = 10 * LIMIT  # s


class Run(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        self.top = self.home / "gravimon"
        for name in ("tools", "build/release/bin"):
            (self.top / name).mkdir(parents=True)
        (self.home / "bin").mkdir()
        (self.home / "runtime").mkdir(mode=0o700)
        shutil.copy(root / "run", self.top)
        (self.top / "build/release/build.ninja").touch()
        self.write("gravimon/tools/setup", "")
        self.write("bin/cmake", "echo 'ninja: no work to do.'")
        self.write("bin/Xvfb", "echo 99 >&3; exec sleep 600")
        self.write("gravimon/build/release/bin/om-bench", "exit 3")
        self.environment = {"PATH": f"{self.home / 'bin'}:{os.environ['PATH']}", "DISPLAY": ":99",
                            "TMPDIR": str(self.home), "XDG_RUNTIME_DIR": str(self.home / "runtime")}

    def write(self, name, lines):
        """A script below the home folder, which it has as $HOME."""
        path = self.home / name
        path.write_text(f"#!/bin/bash\nHOME={self.home}\n{lines}\n", encoding="utf-8")
        path.chmod(0o755)

    def program(self, lines):
        self.write("gravimon/build/release/bin/gravimon", lines)

    def run_it(self, *arguments, folder="gravimon", **variables):
        """Exit status and output, once nobody can write to it any more."""
        environment = {name: value for name, value in {**self.environment, **variables}.items() if value is not None}
        with subprocess.Popen([self.top / "run", *arguments], cwd=self.home / folder, env=environment, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True) as process:
            try:
                output, _ = process.communicate(timeout=LIMIT)
            finally:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(process.pid, signal.SIGKILL)
        return process.returncode, output

    def test_the_timer_closes_the_program(self):
        self.program("trap 'echo closed; exit 7' TERM; while :; do sleep 0.1; done")
        self.assertEqual(self.run_it("--seconds", "10"), (7, "closed\n"))

    def test_the_timer_ends_with_the_program(self):
        self.program("exit 7")
        self.assertEqual(self.run_it("--seconds", str(LONGER)), (7, ""))

    def test_seconds_are_a_whole_number_of_up_to_nine_digits(self):
        self.program("exit 7")
        for text in ("999999999", "080"):
            self.assertEqual(self.run_it("--seconds", text), (7, ""))
        for text in ("", "1.5", "-1", "1s", "1000000000", "99999999999999999999"):
            status, output = self.run_it("--seconds", text)
            self.assertEqual((status, output.count("\n")), (2, 1), output)
            self.assertIn(f"'{text}'", output)

    def test_relative_paths_start_at_the_folder_of_the_user(self):
        self.program('echo "$OM_TIV_BENCH $OM_TIV_STATE_DIR $OM_TIV_CONTROL"')
        (self.home / "elsewhere").mkdir()
        names = ("OM_TIV_BENCH", "OM_TIV_STATE_DIR", "OM_TIV_CONTROL")
        for given, wanted in (("a/b", f"{self.home}/elsewhere/a/b"), ("a=", f"{self.home}/elsewhere/a="), ("/a", "/a")):
            status, output = self.run_it(folder="elsewhere", **dict.fromkeys(names, given))
            self.assertEqual((status, output), (0, " ".join(3 * [wanted]) + "\n"))
        self.assertEqual(self.run_it(folder="elsewhere", OM_TIV_CONTROL="off"), (0, "  off\n"))

    def test_the_screenshot_waits_for_the_bench_of_the_own_program(self):
        self.program('echo $$ >"$HOME/number"; until [ -s "$HOME/asked" ]; do sleep 0.05; done')
        self.write("gravimon/build/release/bin/om-bench", 'echo "$*" >>"$HOME/asked"')
        self.run_it(DISPLAY=None)
        number = (self.home / "number").read_text(encoding="ascii").strip()
        self.assertIn(f"--socket {number} list", (self.home / "asked").read_text(encoding="ascii").splitlines())

    def test_the_screenshot_waits_for_the_bench_at_the_socket_of_the_user(self):
        self.program('until [ -s "$HOME/asked" ]; do sleep 0.05; done')
        self.write("gravimon/build/release/bin/om-bench", 'echo "$OM_TIV_CONTROL $*" >>"$HOME/asked"')
        self.run_it(DISPLAY=None, OM_TIV_CONTROL="/a.sock")
        self.assertIn("/a.sock list", (self.home / "asked").read_text(encoding="ascii").splitlines())

    def test_a_second_signal_ends_a_busy_program_and_nothing_stays(self):
        self.program('trap \'echo asked; trap "echo asked again; exit 7" TERM\' TERM; echo up; while :; do sleep 0.1; done')
        self.write("bin/Xvfb", 'echo $$ >"$HOME/server"; echo 99 >&3; exec sleep 600')
        environment = {name: value for name, value in self.environment.items() if name != "DISPLAY"}
        with subprocess.Popen([self.top / "run"], cwd=self.top, env=environment, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, start_new_session=True,
                              # A shell without job control ignores it, and bash could not trap it then.
                              preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL)) as process:
            try:
                timer = threading.Timer(LIMIT, os.killpg, (process.pid, signal.SIGKILL))
                timer.start()
                for line in process.stdout:
                    if line in ("up\n", "asked\n"):
                        process.send_signal(signal.SIGINT)
                    last = line
                status = process.wait(LIMIT)
            finally:
                timer.cancel()
                server = int((self.home / "server").read_text(encoding="ascii"))
                ended = self.end_of(server)
                with contextlib.suppress(ProcessLookupError):
                    os.kill(server, signal.SIGKILL)
        self.assertEqual((status, last), (130, "asked again\n"))
        self.assertTrue(ended, "the X server is left")
        self.assertEqual(list(self.home.glob("gravimon-run.*")), [])

    def check_signal_at_the_start(self, variable, number=signal.SIGINT, **changes):
        self.program("exec sleep 600")
        # The signal comes when the script has started something whose number it does not know yet.
        self.write("late", f"""trap 'case $BASH_COMMAND in
            {variable}=\\$!) echo $! >"{self.home}/number"; kill -{int(number)} $$;;
        esac' DEBUG""")
        environment = {**self.environment, **changes, "BASH_ENV": str(self.home / "late")}
        with subprocess.Popen([self.top / "run"], cwd=self.top, env=environment, start_new_session=True,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              preexec_fn=lambda: signal.signal(number, signal.SIG_DFL)) as process:
            try:
                status = process.wait(LIMIT)
            finally:
                started = int((self.home / "number").read_text(encoding="ascii"))
                ended = self.end_of(started)
                with contextlib.suppress(ProcessLookupError):
                    os.kill(started, signal.SIGKILL)
        self.assertEqual(status, 128 + number)
        self.assertTrue(ended, f"process {started} is left")

    def test_a_signal_at_the_start_of_the_program_ends_it(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                self.check_signal_at_the_start("program", number)

    def test_a_signal_at_the_start_of_the_display_ends_it(self):
        self.check_signal_at_the_start("server", DISPLAY="")

    @staticmethod
    def end_of(process):
        """Whether a process that is not a child has ended, within the limit."""
        try:
            descriptor = os.pidfd_open(process)
        except ProcessLookupError:
            return True
        try:
            return bool(select.select([descriptor], [], [], LIMIT)[0])
        finally:
            os.close(descriptor)

    def test_a_screenshot_that_cannot_be_stored_is_reported(self):
        self.program('until ls "$HOME"/gravimon-run.*/taken >/dev/null 2>&1; do sleep 0.05; done')
        self.write("gravimon/build/release/bin/om-bench", "echo streaming")
        self.write("bin/import", "exit 1")
        status, output = self.run_it(DISPLAY=None)
        self.assertEqual(status, 0)
        self.assertIn("run: no screenshot: it could not be taken", output)
        self.assertNotIn("before a camera", output)


if __name__ == "__main__":
    unittest.main()
