"""tools/repeat-tests: counts rounds and failures, and goes on where an earlier run ended. The builds are none, and cmake
and ctest are scripts.

    python3 tests/tools/test_repeat_tests.py PROJECT_FOLDER
"""

import contextlib
import importlib.machinery
import importlib.util
import io
import json
import os
import pathlib
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

import own_git  # noqa: F401  pylint: disable=unused-import

root = pathlib.Path(sys.argv.pop(1))
sys.dont_write_bytecode = True
loader = importlib.machinery.SourceFileLoader("repeat_tests", str(root / "tools" / "repeat-tests"))
repeat_tests = importlib.util.module_from_spec(importlib.util.spec_from_loader("repeat_tests", loader))
loader.exec_module(repeat_tests)

LIMIT = 60  # s

# Notes its arguments, and lets tst_b fail in the rounds that the file "failing" names.
CTEST = """#!/bin/bash
echo "ctest $*" >>{top}/calls
while [ "$1" != --output-junit ]; do shift; done
status=run
grep -qx "$(basename "$2" .xml)" {top}/failing && status=fail
echo '<testsuite><testcase name="tst_a" status="run"/><testcase name="tst_b" status="'$status'"/></testsuite>' >"$2"
[ $status = run ]
"""

# Notes its arguments, and fails for the build that the file "broken" names.
CMAKE = """#!/bin/bash
echo "cmake $*" >>{top}/calls
! grep -qx "$(basename "$2")" {top}/broken
"""

# Commits, or edits a file.
COMMIT = "git -C {top} -c user.name=a -c user.email=a@b.example commit -q --allow-empty -m meanwhile\n"
EDIT = "echo >>{top}/source\n"

# Waits for a line of the test, or its end, in a child that needs some time for its own end. The pipe "began" shows the
# test when the child has begun, has ended its work, and is gone: then it has no writer any more.
WAIT = """#!/bin/bash
exec 9>{top}/began
parent=$$
(
    trap 'tail --pid=$parent -s 0.1 -f /dev/null; echo tidy >&9; exit' TERM
    exec 8<{top}/go
    echo begun >&9
    read -r line <&8
) &
wait
"""


class RepeatTests(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = pathlib.Path(folder.name)
        for preset in ("release", "asan", "tsan"):
            (self.top / "build" / preset).mkdir(parents=True)
            (self.top / "build" / preset / "CTestTestfile.cmake").touch()
        (self.top / "bin").mkdir()
        for name, script in (("ctest", CTEST), ("cmake", CMAKE)):
            (self.top / "bin" / name).write_text(script.replace("{top}", str(self.top)), encoding="utf-8")
            (self.top / "bin" / name).chmod(0o755)
        self.fail_in()
        (self.top / "broken").touch()
        (self.top / "source").touch()
        subprocess.run(["git", "init", "-q", str(self.top)], check=True)
        subprocess.run(["git", "-C", str(self.top), "add", "source"], check=True)
        self.commit("first")
        for name, value in (("TOP", self.top), ("OUTPUT", self.top / "build" / "repeat")):
            patch = unittest.mock.patch.object(repeat_tests, name, value)
            patch.start()
            self.addCleanup(patch.stop)
        path = unittest.mock.patch.dict(os.environ, PATH=f"{self.top / 'bin'}:{os.environ['PATH']}")
        path.start()
        self.addCleanup(path.stop)

    def commit(self, message):
        subprocess.run(["git", "-C", str(self.top), "-c", "user.name=a", "-c", "user.email=a@b.example", "commit", "-q",
                        "--allow-empty", "-m", message], check=True)

    def fail_in(self, *rounds):
        (self.top / "failing").write_text("".join(f"{each}\n" for each in rounds), encoding="utf-8")

    def run_main(self, *words):
        """Exit status, output, and the calls of ctest. self.calls has those of cmake, too."""
        (self.top / "calls").write_text("", encoding="utf-8")
        out = io.StringIO()
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(out):
            status = repeat_tests.main(["--busy", "0", *words])
        self.calls = (self.top / "calls").read_text(encoding="utf-8").splitlines()
        return status, out.getvalue(), [call for call in self.calls if call.startswith("ctest")]

    def write_script(self, name, text):
        (self.top / "bin" / name).write_text(text.replace("{top}", str(self.top)), encoding="utf-8")

    def test_each_build_has_its_rounds_and_its_tests(self):
        status, out, calls = self.run_main("--rounds", "2", "--sanitizer-rounds", "1", "--jobs", "3")
        self.assertEqual(status, 0, out)
        builds = [next(preset for preset in ("release", "asan", "tsan") if f"build/{preset} " in call) for call in calls]
        self.assertEqual(builds, ["release", "release", "asan", "tsan"])
        self.assertTrue(all(" -j 3 " in call for call in calls), calls)
        left_out = [call.split(" -LE ")[1].split()[0] for call in calls]
        self.assertEqual(left_out, ["rules", "rules", "rules|e2e|tools", "rules|e2e|tools"])
        self.assertIn("| release | all | 0 | 2 |", out)

    def test_the_builds_of_the_rounds_are_brought_up_to_date_first(self):
        for rounds, sanitizer_rounds, presets, target in (("1", "0", ["release"], "all"),
                                                          ("0", "1", ["asan", "tsan"], "gravimon_tests")):
            self.run_main("--rounds", rounds, "--sanitizer-rounds", sanitizer_rounds)
            builds, tests = self.calls[:len(presets)], self.calls[len(presets):]
            self.assertEqual(builds, [f"cmake --build {self.top}/build/{preset} --target {target} -- --quiet"
                                      for preset in presets])
            self.assertEqual([call.split()[0] for call in tests], ["ctest"] * len(presets))

    def test_a_build_that_fails_is_an_error(self):
        (self.top / "broken").write_text("tsan\n", encoding="utf-8")
        status, out, calls = self.run_main()
        self.assertEqual((status, calls, out.count("\n")), (2, [], 1), out)
        self.assertIn("build/tsan cannot be built", out)

    def test_failures_are_counted(self):
        self.fail_in("release-1", "release-3")
        status, out, _ = self.run_main("--rounds", "3", "--sanitizer-rounds", "0")
        self.assertEqual(status, 1)
        self.assertIn("| release | tst_b | 2 | 3 |", out)
        self.assertIn("| release | all | 2 | 3 |", out)
        self.assertEqual(sorted(path.name for path in (self.top / "build/repeat").glob("*.log")),
                         ["release-1.log", "release-3.log"])

    def test_a_later_run_goes_on(self):
        self.fail_in("release-1")
        self.run_main("--rounds", "2", "--sanitizer-rounds", "0")
        status, out, calls = self.run_main("--rounds", "3", "--sanitizer-rounds", "1", "--resume")
        self.assertEqual((status, len(calls)), (1, 3), out)
        self.assertIn("release-3.xml", calls[0])
        self.assertIn("| release | tst_b | 1 | 3 |", out)
        self.assertIn("| tsan | all | 0 | 1 |", out)

    def test_without_resume_the_count_begins_again(self):
        self.fail_in("release-1")
        self.run_main("--rounds", "1", "--sanitizer-rounds", "0")
        self.fail_in()
        status, out, calls = self.run_main("--rounds", "2", "--sanitizer-rounds", "0")
        self.assertEqual((status, len(calls)), (0, 2), out)

    def test_an_interrupted_run_is_not_one_without_a_failure(self):
        with unittest.mock.patch.object(repeat_tests, "is_built", side_effect=KeyboardInterrupt):
            self.assertEqual(self.run_main()[0], 130)
        round_of = repeat_tests.run_round
        for failing, rounds, wanted in ((0, 0, 130), (0, 2, 130), (1, 2, 1)):
            self.fail_in(f"release-{failing}")
            results = iter([*range(rounds), KeyboardInterrupt()])

            def run_round(*arguments, results=results):
                result = next(results)
                if isinstance(result, KeyboardInterrupt):
                    raise result
                return round_of(*arguments)
            with unittest.mock.patch.object(repeat_tests, "run_round", run_round):
                status, out, _ = self.run_main("--rounds", "3", "--sanitizer-rounds", "0")
            self.assertEqual((status, f"| release | all | {failing} | {rounds} |" in out), (wanted, True), out)

    def test_rounds_of_another_commit_or_choice_do_not_count(self):
        self.run_main("--rounds", "1", "--sanitizer-rounds", "0")
        for words in (("--only", "tst_a"), ("--jobs", "1")):
            status, out, calls = self.run_main("--rounds", "2", "--sanitizer-rounds", "0", "--resume", *words)
            self.assertEqual((status, self.calls), (2, []), out)
        self.commit("second")
        status, out, _ = self.run_main("--rounds", "2", "--sanitizer-rounds", "0", "--resume")
        self.assertEqual((status, self.calls), (2, []))
        self.assertIn("run without --resume", out)

    def test_rounds_of_other_changes_do_not_count(self):
        (self.top / "source").write_text("first", encoding="utf-8")
        self.run_main("--rounds", "1", "--sanitizer-rounds", "0")
        status, out, calls = self.run_main("--rounds", "2", "--sanitizer-rounds", "0", "--resume")
        self.assertEqual((status, len(calls)), (0, 1), out)
        (self.top / "source").write_text("second", encoding="utf-8")
        status, out, _ = self.run_main("--rounds", "3", "--sanitizer-rounds", "0", "--resume")
        self.assertEqual((status, self.calls), (2, []), out)

    def test_a_change_during_the_builds_is_an_error(self):
        for change in (COMMIT, EDIT):
            self.write_script("cmake", CMAKE + change)
            status, out, calls = self.run_main("--rounds", "1", "--sanitizer-rounds", "0")
            self.assertEqual((status, calls), (2, []), out)
            self.assertIn("repeat-tests: the sources have changed from ", out)

    def test_a_round_with_a_change_does_not_count(self):
        self.fail_in("release-1")
        for change in (COMMIT, EDIT):
            self.write_script("ctest", CTEST.replace("[ $status", change + "[ $status"))
            status, out, calls = self.run_main("--rounds", "3", "--sanitizer-rounds", "0")
            self.assertEqual((status, len(calls)), (2, 1), out)
            self.assertIn("repeat-tests: the sources have changed from ", out)
            self.assertIn("| release | all | 0 | 0 |", out)

    def test_a_damaged_count_is_one_clear_error(self):
        (self.top / "build/repeat").mkdir()
        for text in ("no JSON", "[]", json.dumps({"about": {}})):
            (self.top / "build/repeat/tally.json").write_text(text, encoding="utf-8")
            status, out, _ = self.run_main("--resume")
            self.assertEqual((status, self.calls, out.count("\n")), (2, [], 1), out)
            self.assertIn("tally.json", out)

    @contextlib.contextmanager
    def tool(self, *words, ignoring="USR2"):
        """The script as a process, with its standard error, and the two pipes of WAIT."""
        (self.top / "tools").mkdir(exist_ok=True)
        path = shutil.copy(root / "tools" / "repeat-tests", self.top / "tools")
        with contextlib.ExitStack() as stack:
            pipes = []
            for name in ("began", "go"):
                (self.top / name).unlink(missing_ok=True)
                os.mkfifo(self.top / name)
                # Open before the tool opens it, so that neither waits for the other. The end of "go" ends what waits.
                mode = os.O_RDONLY | os.O_NONBLOCK if name == "began" else os.O_RDWR
                pipes.append(os.open(self.top / name, mode))
                stack.callback(os.close, pipes[-1])
            errors = stack.enter_context(tempfile.TemporaryFile("w+"))
            process = stack.enter_context(subprocess.Popen(
                ["env", "--default-signal", f"--ignore-signal={ignoring}", sys.executable, "-B", path,
                 "--sanitizer-rounds", "0", *words], start_new_session=True, stdout=subprocess.DEVNULL, stderr=errors))
            stack.callback(process.kill)
            yield process, errors, *pipes

    def test_a_signal_ends_the_build_and_the_tests_with_all_that_they_started(self):
        for name in ("cmake", "ctest"):
            for number, status in ((signal.SIGTERM, 143), (signal.SIGHUP, 129), (signal.SIGINT, 130)):
                self.write_script("cmake", CMAKE)
                self.write_script(name, WAIT)
                with self.subTest(name=name, number=number), self.tool() as (process, errors, began, _):
                    self.wait_for(b"begun\n", began, process)
                    os.killpg(process.pid, number)  # as a terminal does
                    # The child waits for the end of its parent, and still has the time for its own.
                    self.wait_for(b"tidy\n", began, process)
                    self.wait_for(b"", began, process)
                    self.assertEqual(process.wait(LIMIT), status)
                    errors.seek(0)
                    self.assertEqual(errors.read(), "")

    def test_a_signal_during_the_start_of_a_command_ends_it_too(self):
        started = []

        class SlowlyStarted(subprocess.Popen):

            def __init__(self, *arguments, **options):
                super().__init__(*arguments, **options)
                started.append(self)
                os.kill(os.getpid(), signal.SIGTERM)

        self.addCleanup(signal.signal, signal.SIGTERM, signal.getsignal(signal.SIGTERM))
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        repeat_tests.end_with_signals()
        with unittest.mock.patch.object(subprocess, "Popen", SlowlyStarted), self.assertRaises(SystemExit):
            repeat_tests.run(["tail", f"--pid={os.getpid()}", "-f", "/dev/null"])
        self.addCleanup(started[0].kill)
        self.assertEqual(started[0].wait(LIMIT), -signal.SIGTERM)

    def test_what_does_not_end_is_killed(self):
        command = f"trap '' TERM; echo begun; exec tail --pid={os.getpid()} -f /dev/null"
        with subprocess.Popen(["bash", "-c", command], start_new_session=True, stdout=subprocess.PIPE) as process:
            self.addCleanup(process.kill)
            self.assertEqual(process.stdout.readline(), b"begun\n")
            with unittest.mock.patch.object(repeat_tests, "ENDING_TIME", 0):
                repeat_tests.end(process)
            self.assertEqual(process.wait(LIMIT), -signal.SIGKILL)

    def test_a_logout_does_not_end_what_nohup_has_started(self):
        for name, script in (("cmake", CMAKE), ("ctest", CTEST)):
            for each, text in (("cmake", CMAKE), ("ctest", CTEST)):
                self.write_script(each, text)
            self.write_script("waiting", WAIT)
            (self.top / "bin" / "waiting").chmod(0o755)
            # Build tools and run-test reset the signal.
            self.write_script(name, script.replace("\n", "\nenv --default-signal=HUP {top}/bin/waiting || exit\n", 1))
            with self.subTest(name=name), self.tool("--rounds", "1", ignoring="HUP") as (process, _, began, go):
                self.wait_for(b"begun\n", began, process)
                os.killpg(process.pid, signal.SIGHUP)
                os.write(go, b"\n")
                self.assertEqual(process.wait(LIMIT), 0)

    def test_a_signal_ends_the_busy_loops(self):
        self.write_script("ctest", WAIT)
        for number, status in ((signal.SIGTERM, 143), (signal.SIGKILL, -signal.SIGKILL)):
            with self.tool("--busy", "2") as (process, _, began, _), contextlib.ExitStack() as stack:
                self.wait_for(b"begun\n", began, process)
                children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text("ascii").split()
                self.assertEqual(len(children), 3)  # with ctest
                loops = [os.pidfd_open(int(child)) for child in children[:2]]
                for loop in loops:
                    stack.callback(os.close, loop)
                process.send_signal(number)
                self.assertEqual(process.wait(LIMIT), status)
                for loop in loops:
                    self.assertTrue(select.select([loop], [], [], LIMIT)[0], "a busy loop is left")

    def wait_for(self, line, pipe, process):
        """For a line in a pipe that the process or its children write to, or its end."""
        end = os.pidfd_open(process.pid)
        try:
            # What ends together with the process has written its line before.
            self.assertTrue(select.select([pipe, end], [], [], LIMIT)[0], "the tool hangs")
            self.assertIn(pipe, select.select([pipe], [], [], 0)[0], "the tool has ended")
            self.assertEqual(os.read(pipe, 100), line)
        finally:
            os.close(end)

    def test_a_missing_build_is_an_error(self):
        (self.top / "build/tsan/CTestTestfile.cmake").unlink()
        status, out, _ = self.run_main()
        self.assertEqual(status, 2)
        self.assertIn("build/tsan is missing", out)


if __name__ == "__main__":
    unittest.main()
