"""A running gravimon with its bench, and functions that the tests of the built program share.

Run with tests/support/run-test --display, which provides an X server and a new home:

    tests/support/run-test --display python3 tests/e2e/e2e_start.py build/release/bin [CLASS[.TEST]]
"""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import screen
from waiting import PATIENCE, SCALE, NotYet, wait_for

# The default bench, in its order.
TIV_Q, TIV_P, TIV_N = 31415926, 27182818, 14142135

bin_dir = pathlib.Path()


def camera(model, serial, **members):
    """A camera of a bench file."""
    return {"model": model, "serialNumber": serial, **members}


class Program:
    """One start of the built program in a folder of its own.

    bench     None for the default bench, a list of cameras, or the text of a bench file
    settings  keys of the settings store, or None for no store at all
    wrapper   command line to put before the program's
    arguments of the program
    without   variables of the environment that it does not get
    """

    def __init__(self, bench=None, settings=None, environment=None, wrapper=(), folder=None,
                 arguments=(), without=()):
        place = pathlib.Path(os.environ["HOME"]).parent
        self.folder = pathlib.Path(folder or tempfile.mkdtemp(prefix="", dir=place))
        self.home = self.folder / "home"
        self.config = self.folder / "config"
        self.store = self.config / "Ombrelux" / "TIVSensorData.conf"
        self.control = self.folder / "bench.sock"
        for path in (self.home, self.config, self.folder / "state"):
            path.mkdir(exist_ok=True)
        if settings is not None:
            self.store.parent.mkdir(exist_ok=True)
            lines = ["[General]"] + [f"{key}={value}" for key, value in settings.items()]
            self.store.write_text("\n".join(lines) + "\n", encoding="utf-8")
        self.environment = {**os.environ, "HOME": str(self.home), "XDG_CONFIG_HOME": str(self.config),
                            "OM_TIV_STATE_DIR": str(self.folder / "state"), "OM_TIV_CONTROL": str(self.control)}
        if bench is not None:
            self.bench_file = self.folder / "bench.json"
            text = bench if isinstance(bench, str) else json.dumps({"cameras": bench}, indent=2)
            self.bench_file.write_text(text, encoding="utf-8")
            self.environment["OM_TIV_BENCH"] = str(self.bench_file)
        self.environment.update(environment or {})
        for name in without:
            self.environment.pop(name, None)
        screen.pointer_away()
        self.started = time.time()
        with open(self.folder / "stderr", "ab") as stderr:
            self.process = subprocess.Popen([*wrapper, str(bin_dir / "gravimon"), *arguments], env=self.environment,
                                            cwd=self.home, stdin=subprocess.DEVNULL, stdout=stderr, stderr=stderr)

    # The process.

    @property
    def pid(self):
        return self.process.pid

    def is_running(self):
        return self.process.poll() is None

    def errors(self):
        """Lines on standard output and standard error so far."""
        return (self.folder / "stderr").read_text(encoding="utf-8", errors="replace").splitlines()

    def threads(self):
        return len(os.listdir(f"/proc/{self.pid}/task"))

    def open_files(self):
        """Targets of the process's file descriptors."""
        targets = []
        for fd in os.listdir(f"/proc/{self.pid}/fd"):
            try:
                targets.append(os.readlink(f"/proc/{self.pid}/fd/{fd}"))
            except FileNotFoundError:
                pass  # closed meanwhile
        return targets

    def end(self, how=signal.SIGTERM):
        """Sends the signal and returns the exit status (negative: the signal that ended it)."""
        if self.is_running():
            self.process.send_signal(how)
        try:
            return self.process.wait(PATIENCE * SCALE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait(PATIENCE * SCALE)
            raise NotYet(f"the program did not end on {signal.Signals(how).name}") from None

    @contextlib.contextmanager
    def standing_still(self):
        """The program runs no code for the time of the block. A thread that waits for a processor goes on until the one
        that took the signal has run, so all of them are awaited."""
        os.kill(self.pid, signal.SIGSTOP)
        try:
            wait_for("all threads to stop", lambda: set(self.thread_states()) == {"T"})
            yield
        finally:
            os.kill(self.pid, signal.SIGCONT)

    def thread_states(self):
        """Of each thread that has not ended: the letter of proc(5)."""
        for thread in pathlib.Path(f"/proc/{self.pid}/task").glob("*/stat"):
            with contextlib.suppress(OSError):
                yield thread.read_text(encoding="utf-8").rpartition(") ")[2][0]

    def root(self, path):
        """A path as the process sees it, which may have mounts of its own."""
        return pathlib.Path(f"/proc/{self.pid}/root{path}")

    # The bench.

    def om_bench(self, *arguments):
        """The answer of om-bench as an object, also of a bench that complains; a refusal raises."""
        result = subprocess.run([str(bin_dir / "om-bench"), "--socket", str(self.control), "--json", *map(str, arguments)],
                                capture_output=True, text=True, env=self.environment, timeout=PATIENCE * SCALE)
        if result.returncode not in (0, 4):
            raise RuntimeError(f"om-bench {' '.join(map(str, arguments))}: status {result.returncode}: "
                               f"{result.stdout}{result.stderr}")
        return json.loads(result.stdout)

    def cameras(self):
        """Cameras by serial number; none while the bench does not answer yet."""
        if not self.is_running():
            raise NotYet(f"the program ended with {self.process.returncode}: {self.errors()}")
        try:
            return {c["serialNumber"]: c for c in self.om_bench("list")["cameras"]}
        except RuntimeError:
            return {}

    def state(self, serial):
        return self.cameras().get(serial, {}).get("state")

    def camera(self, serial):
        """A camera of the bench; on a busy machine an answer may come too late for om-bench."""
        return wait_for(f"an answer with camera {serial}", lambda: self.cameras().get(serial))

    def samples_read(self, serial):
        return self.camera(serial)["samplesRead"]

    def wait_for_state(self, serial, state):
        wait_for(f"camera {serial} is {state}", lambda: self.state(serial) == state)

    def wait_for_samples(self, serial, more):
        """Waits until the program has read this number of further samples."""
        before = self.samples_read(serial)
        wait_for(f"{more} more samples of {serial} than {before}",
                 lambda: self.samples_read(serial) >= before + more)

    def wait_for_streaming(self, serial):
        """Until the camera streams and its values are on the screen."""
        self.wait_for_state(serial, "streaming")
        screen.wait_for_window(self.pid, "Gravimon")
        self.wait_for_samples(serial, 40)


class EndToEndTest(unittest.TestCase):
    """Ends the program of a test, and keeps a screenshot of a failure in the working folder."""

    def setUp(self):
        self.programs = []

    def start(self, *arguments, **keywords):
        program = Program(*arguments, **keywords)
        self.programs.append(program)
        return program

    def start_streaming(self, serial=TIV_Q, *arguments, **keywords):
        program = self.start(*arguments, **keywords)
        program.wait_for_streaming(serial)
        return program

    def close(self, program):
        """Closes the window: the program ends with status 0 and without output."""
        self.assertEqual(program.end(), 0, program.errors())
        self.assertEqual(program.errors(), [])

    def tearDown(self):
        outcome = self._outcome.result
        failed = any(test is self for test, _ in outcome.failures + outcome.errors)
        if failed:
            picture = f"failed-{self.id().rpartition('__main__.')[2]}.png"
            subprocess.run(["import", "-silent", "-window", "root", picture], check=False)
            print(f"screenshot: {os.path.abspath(picture)}", file=sys.stderr)
        for program in self.programs:
            if failed and program.errors():
                print("the program's standard error:", *program.errors(), sep="\n  ", file=sys.stderr)
            if program.is_running():
                program.process.kill()
                program.process.wait(PATIENCE * SCALE)
            shutil.rmtree(program.folder, ignore_errors=True)


def main():
    """Runs the tests of the script: SCRIPT BIN_DIR [CLASS[.TEST] ...]"""
    global bin_dir
    if len(sys.argv) < 2 or not (pathlib.Path(sys.argv[1]) / "gravimon").exists():
        sys.exit(f"{sys.argv[0]}: the first argument is the folder of the built gravimon and om-bench")
    bin_dir = pathlib.Path(sys.argv.pop(1)).resolve()
    program = unittest.main(verbosity=2, exit=False)
    if program.result.testsRun == 0:
        sys.exit("no test has run")
    for test, reason in program.result.skipped:  # ./test lists these lines, and Qt Test's
        print(f"SKIP   : {test.id().removeprefix('__main__.')}: {reason}")
    sys.exit(not program.result.wasSuccessful())
