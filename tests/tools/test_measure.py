"""tools/measure: reads the output of benchmarks, compares figures with the last ones, and keeps table and file alike.

    python3 tests/tools/test_measure.py PROJECT_FOLDER
"""

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
import unittest
import unittest.mock

root = pathlib.Path(sys.argv.pop(1))
sys.dont_write_bytecode = True


def script(name, path):
    loader = importlib.machinery.SourceFileLoader(name, str(root / path))
    spec = importlib.util.spec_from_loader(name, loader)
    module = importlib.util.module_from_spec(spec)
    loader.exec_module(module)
    return module


measure = script("measure", "tools/measure")
use = script("use", "bench/process/use")


def output(*runs):
    return json.dumps({"context": {}, "benchmarks": list(runs)})


def repetition(name, value, **more):
    return {"name": name, "run_name": name, "run_type": "iteration", "cpu_time": value, **more}


def figure(name="x", command="echo 'x: 10 ms'", more=False):
    return measure.Figure(name, command, measure.line("x"), "ms", more=more)


def last(value, name="x"):
    return {name: {"value": value, "unit": "ms", "command": "", "machine": "m", "kernel": "k", "load": 1.0,
                   "date": "2026-01-01", "commit": "c"}}


circumstances = measure.circumstances


def setUpModule():
    """Figures of one machine, without the second in which the load is measured."""
    measure.circumstances = lambda: {"machine": "m", "kernel": "k", "load": 0.5, "date": "2026-01-02", "commit": "d"}


class Reading(unittest.TestCase):

    def test_a_counter_is_the_median_of_its_repetitions(self):
        text = output(*[repetition("a", value) for value in (5, 1, 3)],
                      {"name": "a_median", "run_name": "a", "run_type": "aggregate", "cpu_time": 99},
                      repetition("b", 7))
        self.assertEqual(measure.counter("a", "cpu_time")(text), 3)

    def test_a_ratio_is_that_of_two_benchmarks(self):
        text = output(repetition("a", 2), repetition("b", 8))
        self.assertEqual(measure.ratio("a", "b", "cpu_time")(text), 0.25)

    def test_a_part_is_of_what_was_counted_in_all(self):
        text = output(repetition("a", 0, missing=3, made=600))
        self.assertEqual(measure.part("a", "missing", "made", 10_000)(text), 50)

    def test_several_cases_are_a_list(self):
        text = output(repetition("a", 2), repetition("b", 8))
        read = measure.several([measure.counter(name, "cpu_time") for name in "ab"])
        self.assertEqual(measure.scaled(2, measure.counter("b", "cpu_time"))(text), 16)
        self.assertEqual(read(text), [2, 8])

    def test_a_line_is_found_by_its_name(self):
        self.assertEqual(measure.line("process")("process: 1.5 %\nresident memory: 90 MB\n"), 1.5)

    def test_what_is_missing_or_failed_is_no_figure(self):
        failed = output(repetition("a", 1, error_occurred=True, error_message="no camera"))
        for read, text in ((measure.counter("a", "cpu_time"), "not JSON"), (measure.counter("a", "cpu_time"), "[]"),
                           (measure.counter("a", "cpu_time"), output(repetition("b", 1))),
                           (measure.counter("a", "rows"), output(repetition("a", 1))),
                           (measure.counter("a", "cpu_time"), failed), (measure.line("x"), "y: 1\n")):
            with self.assertRaises(measure.Failure):
                read(text)


class Comparing(unittest.TestCase):

    def test_a_slower_figure_is_reported_and_counted(self):
        for more, before, slower in ((False, 8, True), (False, 9, False), (False, 20, False), (True, 13, True),
                                     (True, 12, False), (True, 5, False)):
            out = io.StringIO()
            new, count, failed = measure.measure([figure(more=more)], ".", last(before), 20, out)
            self.assertEqual((count, failed, new["x"]["value"]), (int(slower), 0, 10), before)
            self.assertEqual("SLOWER" in out.getvalue(), slower, out.getvalue())
            self.assertIn(f"10 ms, last {before}", out.getvalue())

    def test_a_figure_that_was_0_is_slower_at_once(self):
        self.assertEqual(measure.measure([figure()], ".", last(0), 20, io.StringIO())[1], 1)

    def test_of_several_cases_the_worst_counts(self):
        both = measure.Figure("x", "echo", lambda output: [10, 10], "ms")
        for before, slower in (([10, 8], True), ([8, 10], True), ([9, 30], False)):
            out = io.StringIO()
            self.assertEqual(measure.measure([both], ".", last(before), 20, out)[1], int(slower), before)
            self.assertIn(f"10, 10 ms, last {before[0]}, {before[1]}", out.getvalue())

    def test_a_figure_of_another_machine_or_kernel_is_shown_but_not_judged(self):
        for other in ("machine", "kernel"):
            out = io.StringIO()
            before = last(1)
            before["x"][other] = "old one"
            self.assertEqual(measure.measure([figure()], ".", before, 20, out)[1], 0)
            self.assertIn("10 ms, last 1 (another machine", out.getvalue())
            self.assertIn("old one", out.getvalue())

    def test_the_first_figure_is_not_compared(self):
        out = io.StringIO()
        self.assertEqual(measure.measure([figure()], ".", {}, 20, out)[1:], (0, 0))
        self.assertIn("the first figure", out.getvalue())

    def test_each_figure_says_where_and_how_it_was_measured(self):
        new = measure.measure([figure()], ".", {}, 20, io.StringIO())[0]["x"]
        self.assertEqual(set(new), {"value", "unit", "command", "machine", "kernel", "load", "host", "date", "commit"})
        self.assertTrue(all(str(value) != "" for value in new.values()), new)

    def test_this_machine_its_load_and_the_commit_are_known(self):
        found = circumstances()
        self.assertEqual(found["kernel"], measure.platform.release())
        self.assertIn(f"{measure.os.cpu_count()} cores", found["machine"])
        self.assertGreaterEqual(found["load"], 0)
        self.assertTrue(found["commit"])

    def test_the_host_takes_a_part_of_the_time_that_was_wanted(self):
        before = measure.processor_times("cpu  100 20 30 9000 50 4 6 40 7 1\ncpu0 1 1 1 1 1 1 1 1 1 1\n")
        self.assertEqual(before, (200, 40))
        self.assertEqual(measure.taken(before, (600, 140)), 25.0)
        self.assertEqual(measure.taken(before, before), 0.0)

    def test_the_last_figure_has_its_host_too(self):
        for host, text in ((3.0, "load 1.0, host 3 %)"), (None, "load 1.0)")):
            out, before = io.StringIO(), last(10)
            if host is not None:
                before["x"]["host"] = host
            measure.measure([figure()], ".", before, 20, out)
            self.assertIn(text, out.getvalue())

    def test_figures_are_kept_after_each_command(self):
        kept = []
        measure.measure([figure("a", "echo x: 1"), figure("b", "echo x: 2")], ".", {}, 20, io.StringIO(),
                        keep=lambda new: kept.append(sorted(new)))
        self.assertEqual(kept, [["a"], ["a", "b"]])

    def test_a_command_with_several_figures_runs_once(self):
        with tempfile.TemporaryDirectory() as folder:
            command = f"echo run >> {folder}/runs; echo 'x: 1 ms'"
            figures = [figure("a", command), figure("b", command)]
            self.assertEqual(set(measure.measure(figures, ".", {}, 20, io.StringIO())[0]), {"a", "b"})
            self.assertEqual(pathlib.Path(folder, "runs").read_text(), "run\n")


class Failing(unittest.TestCase):

    def check(self, command, message):
        err = io.StringIO()
        figures = [figure("x", command), figure("y")]
        new, slower, failed = measure.measure(figures, ".", {}, 20, io.StringIO(), err)
        self.assertEqual((set(new), slower, failed), ({"y"}, 0, 1))
        self.assertIn(message, err.getvalue())

    def test_a_command_that_fails_is_reported_and_the_others_run(self):
        self.check("echo no display >&2; exit 3", "ended with 3: no display")

    def test_output_without_the_figure_is_reported(self):
        self.check("echo nothing", "no x in the output")

    def test_a_command_that_hangs_is_ended_with_all_that_it_started(self):
        with tempfile.NamedTemporaryFile() as held:
            command = f"exec 9> {held.name}; flock 9; sleep 1000 & wait"
            err = io.StringIO()
            self.assertEqual(measure.measure([figure("x", command)], ".", {}, 20, io.StringIO(), err, longest=1),
                             ({}, 0, 1))
            self.assertIn("still ran after 1 s", err.getvalue())
            fcntl.flock(held, fcntl.LOCK_EX)  # waits for all that have inherited the lock

    def test_a_signal_ends_the_command_with_all_that_it_started(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            self.addCleanup(signal.signal, number, signal.signal(number, signal.SIG_DFL))
        for number in (signal.SIGTERM, signal.SIGHUP):
            with tempfile.NamedTemporaryFile() as held:
                measure.end_with_signals()
                command = f"exec 9> {held.name}; flock 9; kill -{int(number)} {os.getpid()}; sleep 1000 & wait"
                with self.assertRaises(SystemExit) as end:
                    measure.run(command, ".")
                self.assertEqual(end.exception.code, 128 + number)
                fcntl.flock(held, fcntl.LOCK_EX)  # waits for all that have inherited the lock

    def test_a_signal_during_the_start_of_the_command_ends_it_too(self):
        started = []

        class SlowlyStarted(subprocess.Popen):

            def __init__(self, *arguments, **options):
                super().__init__(*arguments, **options)
                started.append(self)
                os.kill(os.getpid(), signal.SIGTERM)

        self.addCleanup(signal.signal, signal.SIGTERM, signal.getsignal(signal.SIGTERM))
        measure.end_with_signals()
        with unittest.mock.patch.object(subprocess, "Popen", SlowlyStarted), self.assertRaises(SystemExit):
            measure.run("sleep 1000", ".")
        self.addCleanup(started[0].kill)
        self.assertEqual(started[0].wait(10), -signal.SIGTERM)

    def test_a_logout_does_not_end_what_nohup_has_started(self):
        self.addCleanup(signal.signal, signal.SIGHUP, signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.addCleanup(signal.signal, signal.SIGTERM, signal.getsignal(signal.SIGTERM))
        measure.end_with_signals()
        self.assertEqual(signal.getsignal(signal.SIGHUP), signal.SIG_IGN)

    def test_the_build_folder_can_have_any_name(self):
        with tempfile.TemporaryDirectory() as folder:
            build = pathlib.Path(folder, "a b'c$(d)")
            build.mkdir()
            program = build / "program"
            program.write_text("#!/bin/sh\necho x: 10 ms\n", encoding="utf-8")
            program.chmod(0o755)
            self.assertEqual(measure.run("BUILD/program", build), "x: 10 ms\n")

    def status(self, *arguments, table):
        out, kept = io.StringIO(), (measure.table, measure.sys.stdout, measure.sys.stderr)
        measure.table = lambda short=False: table
        measure.sys.stdout = measure.sys.stderr = out
        try:
            return measure.main(list(arguments))
        finally:
            measure.table, measure.sys.stdout, measure.sys.stderr = kept

    def test_the_exit_status_says_what_happened(self):
        self.assertEqual(self.status(table=[figure("nowhere else")]), 0)
        self.assertEqual(self.status(table=[figure("nowhere else", "exit 1")]), 2)
        self.assertEqual(self.status("--only", "nothing has this name", table=[figure()]), 2)

    def test_parts_of_names_choose_figures(self):
        with tempfile.TemporaryDirectory() as folder:
            table = [figure(f"nowhere {name}", f"echo {name} >> {folder}/runs; echo 'x: 1'") for name in "abc"]
            self.assertEqual(self.status("--only", "where a", "b", table=table), 0)
            self.assertEqual(pathlib.Path(folder, "runs").read_text(), "a\nb\n")


class Files(unittest.TestCase):

    def test_the_page_has_the_table_of_the_file(self):
        figures = measure.read_figures(root / "docs" / "performance.json")
        page = (root / "docs" / "performance.md").read_text()
        self.assertEqual(measure.with_table(page, figures), page, "run tools/measure --save")

    def test_each_figure_of_the_file_is_one_that_is_measured(self):
        known = {each.name: each for each in measure.table()}
        for name, kept in measure.read_figures(root / "docs" / "performance.json").items():
            self.assertIn(name, known)
            self.assertEqual((kept["unit"], kept["command"]), (known[name].unit, known[name].command), name)

    def test_the_table_has_machine_kernel_load_and_aim_of_each_figure(self):
        name = "recorder: rows per second"
        figures = last([1, 2000], name)
        figures[name]["host"] = 7.5
        lines = measure.markdown(figures).splitlines()
        self.assertEqual(lines[2], f"| {name} | 100,000 | 1; 2,000 ms | 1.0 | 7.5 % | 2026-01-01, c | 1 |")
        self.assertEqual(lines[-1], "Machine 1: m, kernel k.")

    def test_a_try_has_the_same_figures_as_the_whole_table(self):
        whole, short = measure.table(), measure.table(short=True)
        self.assertEqual([each.name for each in short], [each.name for each in whole])
        self.assertFalse({each.command for each in whole} & {each.command for each in short})

    def test_the_processor_has_its_clock_in_its_name(self):
        text = "model name\t: A B\ncpu MHz\t\t: 812.0\nbogomips\t: 5200.00\nmodel name\t: A B\n"
        self.assertEqual(measure.processor(text), "A B at 2.6 GHz")
        self.assertEqual(measure.processor("processor\t: 0\nBogoMIPS\t: 108.00\n"), measure.platform.machine())

    def test_names_are_unique(self):
        names = [each.name for each in measure.table()]
        self.assertEqual(len(names), len(set(names)))

    def test_saving_keeps_the_figures_that_were_not_measured(self):
        names = [each.name for each in measure.table()][:2]
        with tempfile.TemporaryDirectory() as folder:
            folder = pathlib.Path(folder)
            (folder / "performance.md").write_text(f"head\n{measure.BEGIN}old\n{measure.END}tail\n")
            measure.save(last(1.0, names[1]), folder)
            measure.save(last(2.0, names[0]), folder)
            kept = measure.read_figures(folder / "performance.json")
            self.assertEqual([(name, each["value"]) for name, each in kept.items()], list(zip(names, (2.0, 1.0))))
            page = (folder / "performance.md").read_text()
            self.assertTrue(page.startswith("head\n") and page.endswith("tail\n") and "old" not in page, page)
            self.assertEqual(measure.with_table(page, kept), page)

    def test_saving_replaces_a_file_as_a_whole_or_leaves_it(self):
        name = measure.table()[0].name
        write_text = pathlib.Path.write_text

        def part(path, text, **options):
            write_text(path, text[:10], **options)
            raise KeyboardInterrupt
        with tempfile.TemporaryDirectory() as folder:
            folder = pathlib.Path(folder)
            (folder / "performance.md").write_text(f"head\n{measure.BEGIN}{measure.END}")
            measure.save(last(1.0, name), folder)
            before = {path.name: path.read_bytes() for path in folder.iterdir()}
            pathlib.Path.write_text = part
            try:
                with self.assertRaises(KeyboardInterrupt):
                    measure.save(last(2.0, name), folder)
            finally:
                pathlib.Path.write_text = write_text
            self.assertEqual({path.name: path.read_bytes() for path in folder.iterdir()}, before)

    def test_a_file_that_is_none_of_figures_is_one_clear_error(self):
        with tempfile.TemporaryDirectory() as folder:
            for text in ("no JSON", "[]", "{}"):
                path = pathlib.Path(folder, "performance.json")
                path.write_text(text)
                with self.assertRaisesRegex(measure.Failure, "restore it"):
                    measure.read_figures(path)

    def test_a_page_without_a_place_for_the_table_is_refused(self):
        with self.assertRaises(measure.Failure):
            measure.with_table("no place\n", {})


class Shares(unittest.TestCase):

    def test_threads_are_summed_up_by_their_kind(self):
        before = {"7": ("gravimon", 1.0), "8": ("llvmpipe-0", 2.0), "9": ("sensor", 3.0)}
        after = {"7": ("gravimon", 2.0), "8": ("llvmpipe-0", 5.0), "9": ("sensor", 3.5), "10": ("new", 0.5)}
        self.assertEqual(use.shares(7, before, after, 10.0),
                         {"process": 50.0, "interface thread": 10.0, "software renderer": 30.0, "other threads": 10.0})

    def test_compositions_count_within_the_measured_time(self):
        text = "composition 1000000000 1500000000\nreplot 2000000000 2100000000\ncomposition 2900000000 3200000000\n" \
            "replot 3900000000 4000000000\ncomposition 4000000000 4400000000\ncomposition 4500000"
        result = use.compositions(text, 0.5, 3.0, 4.25)
        self.assertEqual({name: (round(value, 6), unit) for name, (value, unit) in result.items()},
                         {"replots": (0.8, "per second"), "in compositions": (36.0, "%"),
                          "first composition": (1000.0, "ms")})

    def test_missing_samples_are_those_of_all_that_were_made(self):
        for text, count in (("a: 60000 rows in 150.000 s, 400.00 Hz, no gaps\n", 0),
                            ("a: 9999 rows in 25.000 s, 400.00 Hz, 1 gap, 1 sample missing; the longest gap is", 1),
                            ("a: 9990 rows in 25.000 s, 400.00 Hz, 2 gaps, 10 samples missing; the longest", 10)):
            self.assertEqual(use.missing(text), count)
        with self.assertRaises(use.Failure):
            use.missing("a: 1 row in 0.000 s\n")

    def test_wrong_usage_is_refused(self):
        kept, use.sys.stderr = use.sys.stderr, io.StringIO()
        try:
            self.assertEqual((use.main([]), use.main(["sleeping", "build"])), (2, 2))
        finally:
            use.sys.stderr = kept


if __name__ == "__main__":
    unittest.main()
