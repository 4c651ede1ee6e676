"""tests/fuzz/run-fuzz: a number of inputs is tried in two builds, and the one with AddressSanitizer runs all that the
fast one adds to the corpus. The builds are none: cmake writes programs that note how they are called.

    python3 tests/tools/test_run_fuzz.py PROJECT_FOLDER
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

root = pathlib.Path(sys.argv.pop(1))

# "Builds" the targets named on its command line.
CMAKE = """#!/bin/bash
echo "cmake $*" >>calls
[ "$1" = --build ] || exit 0
mkdir -p "$2/bin"
for word; do
    case $word in fuzz_*) cp program "$2/bin/$word"; chmod +x "$2/bin/$word" ;; esac
done
"""

# Adds one input to the corpus in each turn. Fails in the turns that the file "failing" names, and over an input "bad"
# in the slow build.
PROGRAM = """#!/bin/bash
build=$(basename "$(dirname "$(dirname "$0")")")
corpus=${@: -1}
runs=$(sed 's/.*-runs=\\([0-9]*\\).*/\\1/' <<<"$*")
if [ "$runs" = 0 ]; then
    echo "$build check $(ls "$corpus" | tr '\\n' ' ')" >>calls
    [ ! -e "$corpus/bad" ]
    exit
fi
corpus=${@: -2:1}
echo "$build turn $*" >>calls
turn=$(grep -c ' turn ' calls)
echo "stat::number_of_executed_units: $runs"
touch "$corpus/input-$turn"
! grep -qx "$turn" failing
"""


class RunFuzz(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = pathlib.Path(folder.name)
        (self.top / "tests" / "fuzz").mkdir(parents=True)
        (self.top / "bin").mkdir()
        shutil.copy(root / "tests" / "fuzz" / "run-fuzz", self.top / "tests" / "fuzz")
        (self.top / "tests" / "fuzz" / "fuzz_report.cpp").touch()
        (self.top / "program").write_text(PROGRAM, encoding="utf-8")
        (self.top / "failing").touch()
        for name, text in (("cmake", CMAKE), ("clang++", "#!/bin/sh\n")):
            (self.top / "bin" / name).write_text(text, encoding="utf-8")
            (self.top / "bin" / name).chmod(0o755)
        self.corpus = self.top / "corpora" / "report"

    def run_fuzz(self, *words, folder=None, corpora=None):
        """Exit status, output, and the calls of the programs."""
        environment = dict(os.environ, PATH=f"{self.top / 'bin'}:{os.environ['PATH']}",
                           FUZZ_CORPUS=corpora or str(self.top / "corpora"))
        (self.top / "calls").write_text("", encoding="utf-8")
        result = subprocess.run([self.top / "tests" / "fuzz" / "run-fuzz", *words], env=environment, cwd=folder or self.top,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        return result.returncode, result.stdout, (self.top / "calls").read_text(encoding="utf-8").splitlines()

    def turns(self):
        return (self.top / "build" / "fuzz" / "report.turns").read_text(encoding="utf-8").splitlines()

    def test_most_turns_are_fast_and_short_and_some_are_slow_or_long(self):
        fast, counting = ("fuzz-fast", "1024", "0"), ("fuzz-fast", "1024", "1")
        long = ("fuzz-fast", "8192", "1")
        slow, slow_long = ("fuzz", "1024", None), ("fuzz", "8192", None)
        for before, expected in ((0, fast), (1, counting), (4, slow), (9, long), (14, fast), (19, long), (24, slow),
                                 (83, counting), (84, slow_long), (104, slow), (184, slow_long)):
            with self.subTest(turns_before=before):
                file = self.top / "build" / "fuzz" / "report.turns"
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_text("3 inputs of at most 1024 bytes, fast build, 2 s\n" * before, encoding="utf-8")
                status, out, calls = self.run_fuzz("--inputs", str(3 * before + 5), "report")
                self.assertEqual(status, 0, out)
                self.assertRegex(out, rf"^run-fuzz: report: {3 * before + 5} inputs, \d+ s\n$")
                turns = [re.match(r"(\S+) turn .*-max_len=(\d+) -runs=5(?: -use_counters=(\d))? ", call).groups()
                         for call in calls if " turn " in call]
                self.assertEqual(turns, [expected])

    def test_each_added_input_runs_once_in_the_slow_build(self):
        self.corpus.mkdir(parents=True)
        (self.corpus / "of earlier days").touch()
        status, out, calls = self.run_fuzz("--inputs", "300000", "report")
        self.assertEqual(status, 0, out)
        self.assertEqual([call for call in calls if " check " in call],
                         ["fuzz check input-1 of earlier days ", "fuzz check input-2 ", "fuzz check input-3 "])
        self.assertEqual(sorted(path.name for path in self.corpus.parent.iterdir()), ["report", "report.checked"])

    def test_inputs_of_earlier_runs_count(self):
        self.run_fuzz("--inputs", "150000", "report")
        status, out, calls = self.run_fuzz("--inputs", "160000", "report")
        self.assertEqual(status, 0, out)
        self.assertEqual([re.search(r"-runs=(\d+)", call).group(1) for call in calls if " turn " in call], ["10000"])
        self.assertEqual([int(turn.split()[0]) for turn in self.turns()], [100000, 50000, 10000])

    def test_a_turn_that_fails_does_not_count_and_what_it_added_is_still_new(self):
        (self.top / "failing").write_text("2\n", encoding="utf-8")
        status, out, calls = self.run_fuzz("--inputs", "300000", "report")
        self.assertEqual(status, 1)
        self.assertIn("run-fuzz: an input caused a failure: report (", out)
        self.assertEqual(len(self.turns()), 1)
        (self.top / "failing").write_text("", encoding="utf-8")
        status, out, calls = self.run_fuzz("--inputs", "200000", "report")
        self.assertEqual(status, 0, out)
        self.assertEqual([call for call in calls if " check " in call], ["fuzz check input-2 "])

    def test_an_input_that_fails_in_the_slow_build_only_is_a_failure(self):
        self.corpus.mkdir(parents=True)
        (self.corpus / "bad").touch()
        for _ in range(2):  # until it is corrected
            status, out, _ = self.run_fuzz("--inputs", "100000", "report")
            self.assertEqual(status, 1)
            self.assertIn("run-fuzz: an input caused a failure: report (", out)
            self.assertEqual(self.turns(), [])

    def test_inputs_are_merged_from_a_folder_that_starts_at_that_of_the_user(self):
        found = self.top / "elsewhere" / "found"
        found.mkdir(parents=True)
        status, out, calls = self.run_fuzz("--merge", "report", "found", folder=found.parent)
        self.assertEqual(status, 0, out)
        self.assertIn(f"-merge=1 tests/fuzz/corpus/report {found.resolve()}", calls[-1])
        self.assertEqual(self.run_fuzz("--merge", "report", "elsewhere", folder=found.parent)[0], 2)

    def test_a_run_of_some_seconds_needs_only_the_slow_build(self):
        status, out, calls = self.run_fuzz("5", "report")
        self.assertEqual(status, 0, out)
        self.assertFalse([call for call in calls if "fuzz-fast" in call])
        self.assertIn("-DGRAVIMON_SANITIZE=fuzzer-no-link,address,undefined", calls[0])

    def test_the_folder_of_the_corpora_starts_at_that_of_the_user(self):
        (self.top / "elsewhere").mkdir()
        status, out, calls = self.run_fuzz("5", "report", folder=self.top / "elsewhere", corpora="found")
        self.assertEqual(status, 0, out)
        self.assertIn(f" {(self.top / 'elsewhere' / 'found').resolve()}/report ", calls[-1])

    def test_numbers_are_decimal_and_seconds_more_than_none(self):
        self.assertEqual(self.run_fuzz("0", "report")[0], 2)
        status, out, calls = self.run_fuzz("08", "report")
        self.assertEqual(status, 0, out)
        self.assertIn("-max_total_time=8 ", calls[-1])
        self.run_fuzz("--inputs", "0100", "report")
        self.assertEqual([int(turn.split()[0]) for turn in self.turns()], [100])


if __name__ == "__main__":
    unittest.main()
