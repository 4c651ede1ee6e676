"""tools/mutate: the mistakes that it makes, and a run on a small project, which separates those that a test notices.

    python3 tests/tools/test_mutate.py PROJECT_FOLDER
"""

import contextlib
import fcntl
import importlib.machinery
import importlib.util
import io
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import types
import unittest
import unittest.mock

import own_git  # noqa: F401  pylint: disable=unused-import

root = pathlib.Path(sys.argv.pop(1))
sys.dont_write_bytecode = True
loader = importlib.machinery.SourceFileLoader("mutate", str(root / "tools" / "mutate"))
spec = importlib.util.spec_from_loader("mutate", loader)
mutate = importlib.util.module_from_spec(spec)
sys.modules["mutate"] = mutate
loader.exec_module(mutate)


def changes(source):
    """What becomes of a source of one line of code: (kind, the line after)."""
    return {(m.kind, m.after) for m in mutate.mutants_of("src/x.cpp", source)}


class Mutants(unittest.TestCase):

    def check(self, line, *expected):
        source = f"void f()\n{{\n    {line}\n}}\n"
        self.assertEqual(changes(source), set(expected))

    def test_comparisons_are_flipped_and_moved_by_one(self):
        self.check("g(a < b);", ("comparison", "g(a <= b);"), ("comparison", "g(a >= b);"), ("removed call", ";"))
        self.check("g(a == b);", ("comparison", "g(a != b);"), ("removed call", ";"))

    def test_conditions_are_flipped(self):
        self.check("if (a && b) {", ("condition", "if (a || b) {"), ("condition", "if (!(a && b)) {"))
        self.check("return !a;", ("condition", "return a;"))
        self.check("while (a) {", ("condition", "while (!(a)) {"))
        self.check("return true;", ("condition", "return false;"))

    def test_a_single_comparison_is_flipped_once(self):
        self.check("if (a == b) {", ("comparison", "if (a != b) {"))
        self.check("if (!a) {", ("condition", "if (a) {"))

    def test_operators_are_exchanged(self):
        self.check("return a + b;", ("operator", "return a - b;"))
        self.check("return a * b;", ("operator", "return a / b;"))
        self.check("return -a;")

    def test_constants_are_off_by_one(self):
        for before, after in (("7", "8"), ("0x0F", "0x10"), ("1'000", "1001"), ("2.5F", "3.5F"), ("010", "9"),
                              ("1e3", "1001.0"), ("4U", "5U")):
            self.check(f"return {before};", ("constant", f"return {after};"))

    def test_texts_are_changed(self):
        self.check('return "a";', ("text", 'return "a_";'))
        self.check('return "";', ("text", 'return "x";'))

    def test_calls_and_assignments_are_removed(self):
        self.check("a.b(c);", ("removed call", ";"))
        self.check("a = b;", ("removed assignment", ";"))

    def test_declarations_and_jumps_stay(self):
        for line in ("const int a = b;", "std::vector<int> a = b;", "Thing thing(a);", "auto& a = b;", "return a;",
                     "break;", "int* a = b;"):
            self.check(line)

    def test_arguments_are_swapped(self):
        self.check("return g(a, b);", ("swapped arguments", "return g(b, a);"))
        self.check("return g(a, a);")

    def test_parameters_and_arguments_without_an_order_stay(self):
        self.assertEqual(changes("int f(const std::vector<int>& a, int b);\n"), set())
        self.check("return std::max(a, b);")
        self.check("return g(a * b, c);", ("operator", "return g(a / b, c);"), ("swapped arguments", "return g(c, a * b);"))

    def test_statements_are_swapped(self):
        found = changes("void f()\n{\n    a = b; c = d;\n}\n")
        self.assertIn(("swapped statements", "c = d; a = b;"), found)

    def test_comments_directives_templates_and_checks_stay(self):
        for line in ("// a < 1", "/* a == 1 */", "static_assert(a == 1);"):
            self.check(line)
        self.assertEqual(changes('#include "a.h"\n#define A (1 + 2)\ntemplate <int N = 3>\nclass A;\n'), set())
        self.assertEqual(changes("std::array<int, N> f();\n"), set())

    def test_raw_text_is_one_text(self):
        self.check('return R"(a == 1)";')

    def test_numbers_within_names_stay(self):
        self.check("return a1;")

    def test_a_mutant_changes_only_its_place(self):
        source = "int f(int a)\n{\n    return a < 3 ? 1 : 2;\n}\n"
        for mutant in mutate.mutants_of("src/x.cpp", source):
            after = mutant.applied(source)
            self.assertEqual(after[:mutant.begin], source[:mutant.begin])
            self.assertTrue(after.endswith(source[mutant.end:]))
            self.assertNotEqual(after, source)

    def test_the_seed_determines_the_choice(self):
        mutants = mutate.mutants_of("src/x.cpp", "int a[] = {" + ", ".join(map(str, range(60))) + "};\n")
        self.assertEqual(len(mutants), 60)
        self.assertEqual(mutate.chosen(mutants, 20, 3), mutate.chosen(mutants, 20, 3))
        self.assertNotEqual(mutate.chosen(mutants, 20, 3), mutate.chosen(mutants, 20, 4))
        self.assertEqual(len(mutate.chosen(mutants, 20, 3)), 20)
        self.assertEqual(mutate.chosen(mutants, None, 3), mutants)

    def test_the_first_of_a_choice_are_a_choice(self):
        mutants = mutate.mutants_of("src/x.cpp", "int a[] = {" + ", ".join(map(str, range(60))) + "};\n")
        self.assertEqual(mutate.chosen(mutants, 20, 3)[:7], mutate.chosen(mutants, 7, 3))

    def test_another_line_keeps_the_choice_among_the_rest(self):
        source = "".join(f"int a{i} = {i};\n" for i in range(60))
        before = mutate.chosen(mutate.mutants_of("src/x.cpp", source), 20, 3)
        after = mutate.chosen(mutate.mutants_of("src/x.cpp", "int b = 1;\n" + source), 20, 3)
        self.assertGreaterEqual(len({m.key() for m in before} & {m.key() for m in after}), 19)

    def test_equal_lines_have_names_of_their_own(self):
        mutants = mutate.mutants_of("src/x.cpp", "int a[] = {\n    3,\n    3,\n};\n")
        self.assertEqual([name for name, _ in mutate.named(mutants)], ["src/x.cpp: 3, => 4,", "src/x.cpp: 3, => 4, #2"])

    def test_every_source_can_be_read(self):
        count = 0
        for folder in ("src", "om_tiv"):
            for path in sorted((root / folder).rglob("*.cpp")):
                text = path.read_text(encoding="utf-8")
                self.assertEqual("".join(m.group() for m in mutate.TOKEN.finditer(text)), text, path)
                count += len(mutate.mutants_of(str(path.relative_to(root)), text))
        self.assertGreater(count, 5000)


FILES = {
    "CMakeLists.txt": """
cmake_minimum_required(VERSION 3.22)
project(small CXX)
enable_testing()
include_directories(src)
add_library(small STATIC src/part/limits.cpp src/part/other.cpp)
foreach(test limits other)
  add_executable(tst_${test} tests/part/tst_${test}.cpp)
  target_link_libraries(tst_${test} small)
  add_test(NAME tst_${test} COMMAND $<TARGET_FILE:tst_${test}>)
endforeach()
""",
    "CMakePresets.json": json.dumps({"version": 4, "configurePresets": [
        {"name": "release", "generator": "Ninja", "binaryDir": "${sourceDir}/build/${presetName}",
         "cacheVariables": {"CMAKE_BUILD_TYPE": "Release"}}]}),
    ".gitignore": "build/\n",
    "src/part/limits.h": "#pragma once\nint limited(int value);\nint unseen(int value);\nint other();\n",
    "src/part/limits.cpp": """#include "part/limits.h"

int limited(int value)
{
    return value > 9 ? 9 : value;
}

int unseen(int value)
{
    return value + 1;
}
""",
    "src/part/generated.h": "// Generated by a script.\nconst int generated = 1;\n",
    "src/part/readme.txt": "1\n",
    "src/look/Style_sheets.cpp": "const int sheet = 1;\n",
    "src/part/other.cpp": '#include "part/limits.h"\n\nint other()\n{\n    return 4;\n}\n',
    "tests/part/tst_limits.cpp": """#include "part/limits.h"

#include <unistd.h>

int main()
{
    if (limited(8) != 8) {
        pause(); // until a limit of time
    }
    return limited(8) == 8 && limited(12) == 9 ? 0 : 1;
}
""",
    "tests/part/tst_other.cpp": """#include "part/limits.h"

#include <initializer_list>
#include <sys/resource.h>

int main()
{
    for (const auto limited : {RLIMIT_AS, RLIMIT_FSIZE}) {
        rlimit limit{};
        if (getrlimit(limited, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
            return 1;
        }
    }
    return other() == 4 ? 0 : 1;
}
""",
    "tools/mutate-equivalents": "# At 9 both sides are 9.\n"
                                "src/part/limits.cpp: return value > 9 ? 9 : value; => return value >= 9 ? 9 : value;\n",
}


class Signals(unittest.TestCase):

    def check(self, run):
        """A signal that comes while a process is started ends this process too."""
        started = []

        class SlowlyStarted(subprocess.Popen):

            def __init__(self, _, **options):
                super().__init__(["tail", "-f", "/dev/null"], **options)
                started.append(self)
                os.kill(os.getpid(), signal.SIGTERM)

        self.addCleanup(signal.signal, signal.SIGTERM, signal.signal(signal.SIGTERM, lambda *_: sys.exit(9)))
        with unittest.mock.patch.object(subprocess, "Popen", SlowlyStarted), self.assertRaises(SystemExit):
            run()
        self.addCleanup(started[0].kill)
        self.assertEqual(started[0].wait(10), -signal.SIGTERM)

    def test_a_signal_during_the_start_of_a_build_ends_it(self):
        with tempfile.TemporaryDirectory() as name:
            copy = types.SimpleNamespace(build=name, log=pathlib.Path(name) / "log", environment=os.environ)
            self.check(lambda: mutate.Copy.make(copy, "all", 1))

    def test_a_signal_during_the_start_of_a_test_ends_it(self):
        self.check(lambda: mutate.ctest(types.SimpleNamespace(build="."), "tst_x", 60))


class SmallProject(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.TemporaryDirectory()
        cls.root = pathlib.Path(cls.place.name) / "project"
        for name, text in FILES.items():
            path = cls.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        subprocess.run(["git", "init", "-q", str(cls.root)], check=True)
        cls.out = io.StringIO()
        mutate.LEAST_TIMEOUT = 3.0
        with contextlib.redirect_stdout(cls.out):
            # A mutant that hangs takes four times this limit.
            cls.status = mutate.main([str(cls.root / "src/part/limits.cpp"), "--slow", "15"], cls.root)
        cls.report = json.loads((cls.root / "build/mutate/report.json").read_text(encoding="utf-8"))
        cls.text = (cls.root / "build/mutate/report.txt").read_text(encoding="utf-8")

    @classmethod
    def tearDownClass(cls):
        cls.place.cleanup()

    def results(self, result):
        return {r["after"] for r in self.report["results"] if r["result"] == result}

    def test_what_no_test_notices_survives(self):
        self.assertEqual(self.status, 1)
        self.assertEqual(self.results("survived"), {"return value > 10 ? 9 : value;", "return value - 1;", "return value + 2;"})

    def test_what_a_test_notices_is_killed_by_it(self):
        self.assertEqual(self.results("killed"),
                         {"return value <= 9 ? 9 : value;", "return value > 9 ? 10 : value;"})
        self.assertEqual({r["by"] for r in self.report["results"] if r["result"] == "killed"},
                         {"tst_limits", "tst_limits (timeout)"})

    def test_an_accepted_mutant_is_equivalent_with_its_reason(self):
        reasons = {r["after"]: r["by"] for r in self.report["results"] if r["result"] == "equivalent"}
        self.assertIn("return value >= 9 ? 9 : value;", reasons)

    def test_only_programs_that_contain_the_source_are_run(self):
        self.assertEqual(self.report["tests"], {"src/part/limits.cpp": ["tst_limits"]})

    def test_the_tree_stays_as_it_is(self):
        for name, text in FILES.items():
            self.assertEqual((self.root / name).read_text(encoding="utf-8"), text)
        copy = self.root / "build/mutate/tree/src/part/limits.cpp"
        self.assertEqual(copy.read_text(encoding="utf-8"), FILES["src/part/limits.cpp"])

    def test_the_text_report_lists_the_survivors(self):
        self.assertIn("return value + 1; => return value + 2;", self.text)

    def test_a_limit_of_time_leaves_mutants_out(self):
        with contextlib.redirect_stdout(io.StringIO()):
            status = mutate.main(["--seconds", "0", "--work", str(self.root / "build/mutate"),
                                  str(self.root / "src/part/limits.cpp")], self.root)
        report = json.loads((self.root / "build/mutate/report.json").read_text(encoding="utf-8"))
        self.assertEqual((status, report["counts"]["not run"]), (0, report["chosen"]))

    def test_a_folder_is_all_sources_below_it_that_are_written_by_hand(self):
        self.assertEqual(mutate.sources_of([self.root / "src"], self.root),
                         ["src/part/limits.cpp", "src/part/limits.h", "src/part/other.cpp"])

    def test_a_test_cannot_take_all_memory_or_disk(self):
        with contextlib.redirect_stdout(io.StringIO()):
            status = mutate.main(["--work", str(self.root / "build/mutate"), str(self.root / "src/part/other.cpp")],
                                 self.root)
        self.assertEqual(status, 0)  # 2 if the test does not find its limits

    def test_a_resumed_run_judges_survivors_again_and_only_those(self):
        arguments = ["--work", str(self.root / "build/mutate"), str(self.root / "src/part/limits.cpp")]
        path = self.root / "tests/part/tst_limits.cpp"
        out = io.StringIO()
        with contextlib.redirect_stdout(io.StringIO()):
            mutate.main(["--count", "5", *arguments], self.root)
        first = json.loads((self.root / "build/mutate/report.json").read_text(encoding="utf-8"))
        path.write_text(FILES["tests/part/tst_limits.cpp"].replace("return limited(8)", "return unseen(3) == 4 && limited(8)"),
                        encoding="utf-8")
        try:
            with contextlib.redirect_stdout(out):
                mutate.main(["--resume", *arguments], self.root)
        finally:
            path.write_text(FILES["tests/part/tst_limits.cpp"], encoding="utf-8")
        report = json.loads((self.root / "build/mutate/report.json").read_text(encoding="utf-8"))
        self.assertEqual(report["counts"]["not run"], 0)
        killed = {r["name"] for r in first["results"] if r["result"] == "killed"}
        self.assertTrue(killed)
        for name in killed:
            self.assertNotIn(name.split(": ", 1)[1], out.getvalue())
        results = {r["after"]: (r["result"], r["survived_once"]) for r in report["results"]}
        self.assertEqual(results["return value > 10 ? 9 : value;"], ("survived", True))
        was_run = {r["after"] for r in first["results"]}
        for after in ("return value - 1;", "return value + 2;"):
            self.assertEqual(results[after], ("killed", after in was_run))
        self.assertTrue(was_run & {"return value - 1;", "return value + 2;"})

    def test_survivors_can_be_run_alone(self):
        arguments = ["--count", "4", "--work", str(self.root / "build/mutate"), str(self.root / "src/part/limits.cpp")]
        report = self.root / "build/mutate/report.json"
        with contextlib.redirect_stdout(io.StringIO()):
            mutate.main(arguments, self.root)
        results = json.loads(report.read_text(encoding="utf-8"))
        survived = [r["name"] for r in results["results"] if r["result"] == "survived"]
        self.assertTrue(survived)
        left_out = results["results"].pop(next(i for i, r in enumerate(results["results"]) if r["result"] != "survived"))
        report.write_text(json.dumps(results), encoding="utf-8")
        out = io.StringIO()
        with contextlib.redirect_stdout(out):
            mutate.main(["--resume", "--survivors", *arguments], self.root)
        for name in survived:
            self.assertIn(name.split(": ", 1)[1], out.getvalue())
        self.assertNotIn(left_out["name"].split(": ", 1)[1], out.getvalue())

    def test_headers_come_last(self):
        out = io.StringIO()
        path = self.root / "src/part/other.h"
        path.write_text("inline int more()\n{\n    return 3;\n}\n", encoding="utf-8")
        try:
            with contextlib.redirect_stdout(out):
                mutate.main(["--count", "9", "--work", str(self.root / "build/mutate"), str(self.root / "src/part")], self.root)
        finally:
            path.unlink()
        lines = [line for line in out.getvalue().splitlines() if "src/part/" in line]
        self.assertEqual(len([line for line in lines if "other.h:" in line]), 1)
        self.assertIn("other.h:", lines[-1])

    def test_the_copy_has_the_links_of_the_tree(self):
        link, copy = self.root / "tests/data", mutate.Copy(self.root, self.root / "build/mutate")
        link.symlink_to("part")
        try:
            copy.update()
            self.assertEqual(os.readlink(copy.tree / "tests/data"), "part")
        finally:
            link.unlink()
        copy.update()
        self.assertFalse((copy.tree / "tests/data").is_symlink())
        self.assertTrue((copy.tree / "tests/part/tst_limits.cpp").is_file())

    def test_a_slow_test_is_not_run(self):
        path = self.root / "tests/part/tst_limits.cpp"
        path.write_text(FILES["tests/part/tst_limits.cpp"].replace("limited(8) != 8", "limited(8) == 8"), encoding="utf-8")
        out = io.StringIO()
        try:
            with contextlib.redirect_stdout(out):
                status = mutate.main(["--count", "1", "--slow", "1", "--work", str(self.root / "build/mutate"),
                                      str(self.root / "src/part/limits.cpp")], self.root)
        finally:
            path.write_text(FILES["tests/part/tst_limits.cpp"], encoding="utf-8")
        self.assertEqual(status, 1, out.getvalue())
        self.assertIn("tst_limits: takes longer than 1 s and is not run", out.getvalue())

    def test_a_test_that_is_late_once_has_not_failed(self):
        path = self.root / "tests/part/tst_limits.cpp"
        path.write_text(FILES["tests/part/tst_limits.cpp"].replace("if (limited(8) != 8) {", """if (access("late", F_OK) != 0) {
        close(creat("late", 0600));""").replace("<unistd.h>", "<fcntl.h>\n#include <unistd.h>"), encoding="utf-8")
        try:
            with contextlib.redirect_stdout(io.StringIO()):
                mutate.main(["--count", "1", "--slow", "10", "--work", str(self.root / "build/mutate"),
                             str(self.root / "src/part/limits.cpp")], self.root)
        finally:
            path.write_text(FILES["tests/part/tst_limits.cpp"], encoding="utf-8")
        report = json.loads((self.root / "build/mutate/report.json").read_text(encoding="utf-8"))
        self.assertEqual([r["result"] for r in report["results"]], ["survived"])

    def test_a_second_run_in_one_folder_is_refused(self):
        work = self.root / "build/mutate"
        with open(work / "in-use", "w", encoding="ascii") as used, contextlib.redirect_stderr(io.StringIO()) as errors:
            fcntl.flock(used, fcntl.LOCK_EX)
            status = mutate.main(["--work", str(work), str(self.root / "src/part/limits.cpp")], self.root)
        self.assertEqual(status, 2)
        self.assertIn(f"another run uses {work}", errors.getvalue())

    def test_nothing_to_resume_is_refused(self):
        errors = io.StringIO()
        with self.assertRaises(SystemExit) as raised, contextlib.redirect_stderr(errors):
            mutate.main(["--resume", "--work", str(self.root / "build/nothing"), str(self.root / "src/part/limits.cpp")],
                        self.root)
        self.assertEqual(raised.exception.code, 2)
        self.assertIn("there is no report in", errors.getvalue())

    def test_a_failing_test_ends_the_run(self):
        path = self.root / "tests/part/tst_limits.cpp"
        path.write_text("int main()\n{\n    return 1;\n}\n#include \"part/limits.h\"\nint (*used)(int) = limited;\n",
                        encoding="utf-8")
        errors = io.StringIO()
        try:
            with contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(errors):
                status = mutate.main(["--work", str(self.root / "build/mutate"),
                                      str(self.root / "src/part/limits.cpp")], self.root)
        finally:
            path.write_text(FILES["tests/part/tst_limits.cpp"], encoding="utf-8")
        self.assertEqual(status, 2)
        self.assertIn("tst_limits: failed without a mutant", errors.getvalue())

    def test_other_files_are_refused(self):
        for name in ("tests/part/tst_limits.cpp", "src/part/none.cpp", "tests/part"):
            with self.assertRaises(SystemExit) as raised, contextlib.redirect_stderr(io.StringIO()):
                mutate.main([str(self.root / name)], self.root)
            self.assertEqual(raised.exception.code, 2)


if __name__ == "__main__":
    unittest.main()
