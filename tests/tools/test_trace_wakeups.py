"""tools/trace-wakeups: finds the missing samples in a trace of the kernel, and the cause of each.

    python3 tests/tools/test_trace_wakeups.py PROJECT_FOLDER
"""

import contextlib
import importlib.machinery
import importlib.util
import io
import os
import pathlib
import platform
import re
import signal
import sys
import tempfile
import unittest
import unittest.mock

root = pathlib.Path(sys.argv.pop(1))
sys.dont_write_bytecode = True
loader = importlib.machinery.SourceFileLoader("trace_wakeups", str(root / "tools/trace-wakeups"))
wakeups = importlib.util.module_from_spec(importlib.util.spec_from_loader("trace_wakeups", loader))
loader.exec_module(wakeups)

SENSOR, INTERFACE, OTHER, IDLE = ("gravimon", 7), ("gravimon", 5), ("cc1 plus", 20), ("<idle>", 0)
RENDERER, FOREIGN_RENDERER = ("llvmpipe-0", 6), ("llvmpipe-0", 21)
PERIOD = 0.0025
FUTEX = wakeups.FUTEX.get(platform.machine(), 202)


def seconds(milliseconds):
    return 100 + milliseconds / 1000


class Story:
    """Lines of a trace, at times in milliseconds. Samples are made at 2.5, 5, 7.5..."""

    def __init__(self):
        self.lines = []

    def add(self, at, thread, name, text, cpu=0, flags="d..2."):
        self.lines.append(f"{thread[0]:>16}-{thread[1]:<7} [{cpu:03}] {flags} {seconds(at):.6f}: {name}: {text}\n")
        return self

    def switch(self, at, before, after, state="S", cpu=0):
        names = [("swapper/0", 0) if thread is IDLE else thread for thread in (before, after)]
        return self.add(at, before, "sched_switch", f"prev_comm={names[0][0]} prev_pid={names[0][1]} prev_prio=120 "
                        f"prev_state={state} ==> next_comm={names[1][0]} next_pid={names[1][1]} next_prio=120", cpu)

    def wakes(self, at, by, interrupt, cpu=0):
        return self.add(at, by, "sched_waking", f"comm=gravimon pid=7 prio=120 target_cpu={cpu:03}", cpu,
                        "d.h2." if interrupt else "d..2.")

    def ran(self, at, thread, milliseconds, cpu=0):
        return self.add(at, thread, "sched_stat_runtime",
                        f"comm={thread[0]} pid={thread[1]} runtime={round(milliseconds * 1e6)} [ns]", cpu)

    def calls(self, at, number):
        return self.add(at, SENSOR, "sys_enter", f"NR {number} (0, 0, 0, 0, 0, 0)")

    def faults(self, at):
        return self.add(at, SENSOR, "page_fault_user", "address=0x1 ip=0x2 error_code=0x6")

    def reads(self, at):
        return self.add(at, SENSOR, "read", "(0x55da73b3afc0)", flags="DBZff")

    def waits(self, at, deadline):
        return self.add(at, SENSOR, "wait", f"(0x55da73b6b190) deadline={round(seconds(deadline) * 1e9)}")

    def begins(self, following, state="S"):
        """The thread waits for the sample of 2.5 ms, and another one gets its processor."""
        return self.switch(0, OTHER, SENSOR, "R").waits(0.1, 2.5).calls(0.11, FUTEX) \
            .switch(0.12, SENSOR, following, state)

    def ends(self):
        """The thread reads the sample of 5 ms instead, and waits again."""
        return self.reads(5.65).waits(5.7, 7.5)

    def analysis(self):
        analysis = wakeups.Analysis(SENSOR[1], INTERFACE[1], PERIOD, 0.0, [SENSOR[1], INTERFACE[1], RENDERER[1]])
        for event in wakeups.events(self.lines):
            analysis.take(event)
        return analysis


class Causes(unittest.TestCase):

    def test_each_missing_sample_has_its_cause(self):
        for story, cause in (
                (Story().begins(OTHER).wakes(2.55, OTHER, True).ran(4, OTHER, 3.8).ran(5.59, OTHER, 1.5)
                 .switch(5.6, OTHER, SENSOR, "R").ends(), "another thread: cc1 plus"),
                (Story().begins(INTERFACE).wakes(2.55, INTERFACE, True).ran(5.59, INTERFACE, 5.4)
                 .switch(5.6, INTERFACE, SENSOR, "R").ends(), "another thread: gravimon (interface thread)"),
                (Story().begins(OTHER).wakes(2.55, OTHER, True).ran(2.56, OTHER, 2.4).ran(5.59, OTHER, 0.5)
                 .switch(5.6, OTHER, SENSOR, "R").ends(), "the host: it took the processor"),
                (Story().begins(IDLE).wakes(2.55, IDLE, True).switch(5.6, IDLE, SENSOR, "R").ends(),
                 "the host: an idle processor started late"),
                (Story().begins(IDLE).wakes(5.6, IDLE, True).switch(5.61, IDLE, SENSOR, "R").ends(),
                 "the host: an idle processor started late for the timer"),
                (Story().begins(OTHER).wakes(5.6, OTHER, True).ran(5.61, OTHER, 2.4).switch(5.62, OTHER, SENSOR, "R")
                 .ends(), "the host: it took the processor of the timer"),
                (Story().begins(OTHER).wakes(5.6, OTHER, True).ran(5.61, OTHER, 5.4).switch(5.62, OTHER, SENSOR, "R")
                 .ends(), "late timer: while cc1 plus ran"),
                (Story().begins(IDLE).wakes(2.55, IDLE, True).switch(2.56, IDLE, SENSOR).calls(2.57, FUTEX)
                 .switch(2.6, SENSOR, IDLE).wakes(5.6, INTERFACE, False).switch(5.61, IDLE, SENSOR).ends(),
                 "lock: until gravimon (interface thread) woke it"),
                (Story().begins(IDLE).wakes(2.55, IDLE, True).switch(2.56, IDLE, SENSOR).calls(2.57, 9)
                 .switch(2.6, SENSOR, IDLE).wakes(5.6, OTHER, False).switch(5.61, IDLE, SENSOR).ends(),
                 "system call 9: until cc1 plus woke it"),
                (Story().begins(IDLE).wakes(2.55, IDLE, True).switch(2.56, IDLE, SENSOR).faults(3)
                 .ran(5.6, SENSOR, 3).ends(), "page faults"),
                (Story().begins(IDLE).wakes(2.55, IDLE, True).switch(2.56, IDLE, SENSOR).ran(5.6, SENSOR, 3).ends(),
                 "work of the thread itself"),
                (Story().begins(IDLE).wakes(2.55, IDLE, True).switch(2.56, IDLE, SENSOR).ran(5.6, SENSOR, 0.3).ends(),
                 "the host: it took the processor")):
            with self.subTest(cause=cause):
                analysis = story.analysis()
                self.assertEqual([sample.cause for sample in analysis.missing], [cause])
                self.assertEqual(analysis.made, 2)
                self.assertAlmostEqual(analysis.missing[0].time, seconds(2.5))
                self.assertAlmostEqual(analysis.missing[0].late, 0.00315)

    def test_a_thread_of_another_program_differs_from_one_of_the_same_name(self):
        for other, cause in ((RENDERER, "llvmpipe-0 (of this gravimon)"), (FOREIGN_RENDERER, "llvmpipe-0")):
            story = Story().begins(other).wakes(2.55, other, True).ran(5.59, other, 5.4) \
                .switch(5.6, other, SENSOR, "R").ends()
            self.assertEqual([sample.cause for sample in story.analysis().missing], [f"another thread: {cause}"])

    def test_what_took_most_of_the_time_is_the_cause(self):
        story = Story().begins(IDLE).wakes(2.55, IDLE, True).switch(2.56, IDLE, SENSOR).calls(2.57, FUTEX) \
            .switch(2.6, SENSOR, OTHER).wakes(3.5, INTERFACE, False).ran(5.59, OTHER, 2.9) \
            .switch(5.6, OTHER, SENSOR, "R").ends()
        self.assertEqual([sample.cause for sample in story.analysis().missing], ["another thread: cc1 plus"])

    def test_a_thread_that_lost_its_processor_before_its_wait_is_followed(self):
        story = Story().begins(IDLE).wakes(2.55, IDLE, True).switch(2.56, IDLE, SENSOR).reads(2.6) \
            .switch(2.7, SENSOR, OTHER, "R").ran(10.2, OTHER, 7.4).switch(10.21, OTHER, SENSOR, "R") \
            .waits(10.22, 5).reads(10.23).waits(10.25, 12.5)
        self.assertEqual([sample.cause for sample in story.analysis().missing], 2 * ["another thread: cc1 plus"])


class Samples(unittest.TestCase):

    def missing(self, deadline, *reads):
        story = Story().waits(0.1, 2.5)
        for read in reads:
            story.reads(read)
        return [round(1000 * (sample.time - 100), 3)
                for sample in story.waits(deadline - 1, deadline).analysis().missing]

    def test_a_sample_without_a_reading_is_missing(self):
        for deadline, reads, missing in ((5, (2.6,), []),
                                         (5, (4.9,), []),
                                         (7.5, (5.1,), [2.5]),
                                         (10, (2.6, 7.6), [5.0]),
                                         (10, (4.6, 7.6), [5.0]),
                                         (10, (2.6, 5.1, 7.6), []),
                                         (15, (2.6, 12.6), [5.0, 7.5, 10.0])):
            self.assertEqual(self.missing(deadline, *reads), missing, (deadline, reads))

    def test_a_reading_traced_after_the_next_sample_has_met_the_one_before(self):
        self.assertEqual(self.missing(7.5, 5.01, 5.03), [])

    def test_a_delay_lasts_from_the_sample_to_the_next_reading(self):
        analysis = Story().waits(0.1, 2.5).reads(2.6).reads(12.6).waits(13, 15).analysis()
        self.assertEqual([round(1000 * sample.late, 3) for sample in analysis.missing], [7.6, 5.1, 2.6])

    def test_what_other_threads_read_and_wait_for_does_not_count(self):
        story = Story().waits(0.1, 2.5)
        story.add(2.7, OTHER, "read", "(0x1)").add(2.8, OTHER, "wait", "(0x1) deadline=9")
        self.assertEqual([round(1000 * (sample.time - 100), 3)
                          for sample in story.reads(5.1).waits(5.2, 7.5).analysis().missing], [2.5])

    def test_a_sample_may_be_made_somewhat_early(self):
        self.assertEqual(self.missing(7.5, 4.8), [2.5])


class Traces(unittest.TestCase):

    recorded = root / "tests" / "tools" / "wakeups.trace"

    def test_a_recorded_trace_has_its_table(self):
        analysis = wakeups.analyse(lambda: open(self.recorded, encoding="utf-8"))
        self.assertEqual(wakeups.report(analysis, each=True), """\
    0.023 s    16.77 ms  the host: it took the processor of the timer
    0.026 s    14.31 ms  another thread: fuzz_recorded_f
    0.028 s    11.86 ms  the host: it took the processor
    0.031 s     9.40 ms  the host: it took the processor
    0.033 s     6.94 ms  the host: it took the processor
    0.036 s     4.49 ms  another thread: cc1plus
6 of 9 samples are missing in 0 s, one every 2.46 ms
Missing  Longest delay  Cause
      3       11.86 ms  the host: it took the processor
      1       16.77 ms  the host: it took the processor of the timer
      1       14.31 ms  another thread: fuzz_recorded_f
      1        4.49 ms  another thread: cc1plus""")

    def test_a_trace_names_the_threads_of_the_program(self):
        text = self.recorded.read_text(encoding="utf-8")
        thread = re.search(r"next_comm=fuzz_recorded_f next_pid=(\d+)", text).group(1)
        text = text.replace(f"{wakeups.HEAD}4565 4333", f"{wakeups.HEAD}4565 4333 {thread} 4333 4565")
        self.assertIn("another thread: fuzz_recorded_f (of this gravimon)\n",
                      wakeups.report(wakeups.analyse(lambda: io.StringIO(text))))

    def test_the_sensor_thread_is_the_one_that_reads(self):
        with open(self.recorded, encoding="utf-8") as lines:
            self.assertEqual(wakeups.sensor_thread(lines), 4565)
        with self.assertRaises(wakeups.Failure):
            wakeups.sensor_thread(["# tracer: nop\n"])

    def test_times_of_the_bench_are_found_by_timers_that_were_in_time(self):
        story = Story()
        for number, late in enumerate((0.05, 0.06, 3, 0.07, 1.5, 0.055)):
            story.waits(20 * number, 20 * number + (2.5 if number != 3 else 5)) \
                .wakes(20 * number + 2.5 + (0 if number != 3 else 2.5) + late, IDLE, True)
        period, offset = wakeups.grid(story.lines, 7)
        self.assertAlmostEqual(offset, 0.00005)
        self.assertAlmostEqual(period, 0.02)

    def test_a_trace_without_what_is_needed_is_one_clear_error(self):
        head = f"{wakeups.HEAD}7 5\n"
        waits = Story().waits(0, 2.5).lines[0]
        for text, message in (("", "record it with --keep"), (wakeups.HEAD + "7\n", "record it with --keep"),
                              (head, "no waits"), (head + waits, "no waits"),
                              (head + waits[:waits.index("deadline")], "damaged")):
            with self.assertRaisesRegex(wakeups.Failure, message):
                wakeups.analyse(lambda text=text: io.StringIO(text))


    def test_a_trace_that_ends_within_a_line_is_one_clear_error(self):
        story = Story()
        for number in range(3):
            story.waits(20 * number, 20 * number + 2.5).wakes(20 * number + 2.55, IDLE, True)
        whole = f"{wakeups.HEAD}7 5\n" + "".join(story.lines)
        self.assertEqual(wakeups.analyse(lambda: io.StringIO(whole)).made, 2)
        for cut in (Story().switch(70, OTHER, SENSOR), Story().ran(70, OTHER, 1), Story().wakes(70, OTHER, True),
                    Story().calls(70, FUTEX), Story().waits(70, 72)):
            text = whole + cut.lines[0][:cut.lines[0].rindex(": ") + 5]
            with self.assertRaisesRegex(wakeups.Failure, r"damaged: .* at 100\.070000 s"):
                wakeups.analyse(lambda text=text: io.StringIO(text))


class LostEvents(unittest.TestCase):

    def start(self, *stats):
        with tempfile.TemporaryDirectory() as folder:
            for number, (overrun, oldest) in enumerate(stats):
                cpu = pathlib.Path(folder, "per_cpu", f"cpu{number}")
                cpu.mkdir(parents=True)
                (cpu / "stats").write_text(f"entries: 30349\noverrun: {overrun}\ncommit overrun: 0\nbytes: 1044000\n"
                                           f"oldest event ts: {oldest:12.6f}\nnow ts: 99999.500000\n"
                                           "dropped events: 0\nread events: 0\n")
            tracing = wakeups.Tracing()
            tracing.folder = pathlib.Path(folder)
            return tracing.complete_from()

    def test_a_trace_is_complete_from_the_latest_beginning_of_a_buffer_that_lost_events(self):
        for stats, start in ((((0, 75000.25), (0, 75000.5)), None),
                             (((7, 75000.25), (0, 75000.5)), 75000.25),
                             (((7, 75000.25), (9, 75000.5)), 75000.5),
                             (((7, 99.25), (9, 9.5)), 99.25)):  # the kernel pads short numbers with spaces
            self.assertEqual(self.start(*stats), start, stats)

    def test_events_before_the_complete_part_are_left_out(self):
        story = Story().waits(1, 2.5).ran(2, OTHER, 1).ran(3, OTHER, 1)
        lines = ["# tracer: nop\n", "CPU:1 [LOST 12 EVENTS]\n", *story.lines]
        self.assertEqual(list(wakeups.complete(lines, None)), lines)
        self.assertEqual(list(wakeups.complete(lines, seconds(2))), lines[:2] + lines[3:])


class Programs(unittest.TestCase):

    def test_an_address_has_its_place_in_the_file(self):
        segments = "  LOAD           0x000000 0x0000000000000000 0x0000000000000000 0x01fb38 0x01fb38 R   0x1000\n" \
            "  LOAD           0x020000 0x0000000000021000 0x0000000000021000 0x0e2cf9 0x0e2cf9 R E 0x1000\n"
        self.assertEqual(wakeups.offset_in_file(segments, 0x21010), 0x20010)
        self.assertEqual(wakeups.offset_in_file(segments, 0x10), 0x10)
        with self.assertRaises(wakeups.Failure):
            wakeups.offset_in_file(segments, 0x900000)

    def test_a_program_without_symbols_is_refused(self):
        with self.assertRaisesRegex(wakeups.Failure, "no symbol"):
            list(wakeups.probes(pathlib.Path("/bin/true")))

    def test_a_program_whose_camera_stopped_is_one_clear_error(self):
        class Bench:
            def cameras(self):
                return [{"state": "available"}]

        with self.assertRaisesRegex(wakeups.Failure, "no longer streams"):
            wakeups.counters(Bench())

    def test_a_time_or_buffer_below_one_is_wrong_usage(self):
        for option in ("--seconds", "--buffer"):
            with self.assertRaises(SystemExit) as end, contextlib.redirect_stderr(io.StringIO()):
                wakeups.main([option, "0", "--read", "/dev/null"])
            self.assertEqual(end.exception.code, 2)

    def test_a_signal_removes_the_tracing(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            removed = []

            def record(*_, number=number, removed=removed):
                with contextlib.ExitStack() as tracing:
                    tracing.callback(removed.append, True)
                    os.kill(os.getpid(), number)
                    self.fail("the signal is ignored")

            self.addCleanup(signal.signal, number, signal.signal(number, signal.SIG_DFL))
            with unittest.mock.patch.object(wakeups, "check_system"), \
                    unittest.mock.patch.object(wakeups, "record", record), \
                    tempfile.NamedTemporaryFile() as kept, self.assertRaises(SystemExit) as end:
                wakeups.main(["--in-session", "--keep", kept.name])
            self.assertEqual((end.exception.code, removed), (128 + number, [True]))

    def test_a_missing_program_is_one_clear_error(self):
        out, kept = io.StringIO(), sys.stderr
        sys.stderr = out
        try:
            with tempfile.TemporaryDirectory() as folder:
                self.assertEqual(wakeups.main(["--build", folder]), 1)
                self.assertEqual(wakeups.main(["--read", folder + "/none"]), 1)
        finally:
            sys.stderr = kept
        self.assertRegex(out.getvalue(), r"^trace-wakeups: .*bin/gravimon: not there; .*\ntrace-wakeups: .*none'\n$")


if __name__ == "__main__":
    unittest.main()
