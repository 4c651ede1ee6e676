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
echo "$*" >>{top}/calls
while [ "$1" != --output-junit ]; do shift; done
status=run
grep -qx "$(basename "$2" .xml)" {top}/failing && status=fail
echo '<testsuite><testcase name="tst_a" status="run"/><testcase name="tst_b" status="'$status'"/></testsuite>' >"$2"
[ $status = run ]
"""

# Notes its arguments, and fails for the build that the file "broken" names.
CMAKE = """#!/bin/bash
echo "$*" >>{top}/built
! grep -qx "$(basename "$2")" {top}/broken
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
        subprocess.run(["git", "init", "-q", str(self.top)], check=True)
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
        """Exit status, output, and the calls of ctest."""
        (self.top / "calls").write_text("", encoding="utf-8")
        out = io.StringIO()
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(out):
            status = repeat_tests.main(["--busy", "0", *words])
        return status, out.getvalue(), (self.top / "calls").read_text(encoding="utf-8").splitlines()

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
        self.run_main("--rounds", "1", "--sanitizer-rounds", "0")
        self.run_main("--rounds", "0", "--sanitizer-rounds", "1")
        built = (self.top / "built").read_text(encoding="utf-8").splitlines()
        self.assertEqual(built, [f"--build {self.top}/build/{preset} --target {target} -- --quiet" for preset, target in
                                 (("release", "all"), ("asan", "gravimon_tests"), ("tsan", "gravimon_tests"))])

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
            self.assertEqual((status, calls), (2, []), out)
        self.commit("second")
        status, out, calls = self.run_main("--rounds", "2", "--sanitizer-rounds", "0", "--resume")
        self.assertEqual((status, calls), (2, []))
        self.assertIn("run without --resume", out)

    def test_a_damaged_count_is_one_clear_error(self):
        (self.top / "build/repeat").mkdir()
        for text in ("no JSON", "[]", json.dumps({"about": {}})):
            (self.top / "build/repeat/tally.json").write_text(text, encoding="utf-8")
            status, out, calls = self.run_main("--resume")
            self.assertEqual((status, calls, out.count("\n")), (2, [], 1), out)
            self.assertIn("tally.json", out)

    def test_a_signal_ends_the_busy_loops(self):
        (self.top / "tools").mkdir()
        tool = shutil.copy(root / "tools" / "repeat-tests", self.top / "tools")
        os.mkfifo(self.top / "began")
        (self.top / "bin" / "ctest").write_text(f"#!/bin/bash\necho begun >{self.top}/began\nexec sleep {10 * LIMIT}\n",
                                                encoding="utf-8")
        for number, status in ((signal.SIGTERM, 143), (signal.SIGKILL, -signal.SIGKILL)):
            # Open before the tool writes to it, so that neither waits for the other.
            began = os.open(self.top / "began", os.O_RDONLY | os.O_NONBLOCK)
            self.addCleanup(os.close, began)
            with subprocess.Popen([sys.executable, "-B", tool, "--busy", "2", "--sanitizer-rounds", "0"],
                                  start_new_session=True, stdout=subprocess.DEVNULL) as process:
                try:
                    self.wait_for(began, process)
                    children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text("ascii").split()
                    self.assertEqual(len(children), 3)  # with ctest
                    with contextlib.ExitStack() as stack:
                        loops = [os.pidfd_open(int(child)) for child in children[:2]]
                        for loop in loops:
                            stack.callback(os.close, loop)
                        process.send_signal(number)
                        self.assertEqual(process.wait(LIMIT), status)
                        for loop in loops:
                            self.assertTrue(select.select([loop], [], [], LIMIT)[0], "a busy loop is left")
                finally:
                    with contextlib.suppress(ProcessLookupError):
                        os.killpg(process.pid, signal.SIGKILL)

    def wait_for(self, pipe, process):
        """For a line in a pipe that the process or its children write to."""
        end = os.pidfd_open(process.pid)
        try:
            self.assertIn(pipe, select.select([pipe, end], [], [], LIMIT)[0], "the tool has ended or hangs")
            self.assertEqual(os.read(pipe, 100), b"begun\n")
        finally:
            os.close(end)

    def test_a_missing_build_is_an_error(self):
        (self.top / "build/tsan/CTestTestfile.cmake").unlink()
        status, out, _ = self.run_main()
        self.assertEqual(status, 2)
        self.assertIn("build/tsan is missing", out)


if __name__ == "__main__":
    unittest.main()
