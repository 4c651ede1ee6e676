#!/usr/bin/env python3
"""The pace at which tools/soak advances the clock of a bench, with a bench that the test plays."""

import json
import pathlib
import socket
import sys
import tempfile
import threading
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(sys.argv.pop(1)) / "tools"))

import stepped_clock  # noqa: E402
from stepped_clock import MOST_BEHIND, SAMPLE, Pace, SteppedClock  # noqa: E402

SERIAL = 31415926
BEGIN = 1_800_000_000_000_000_000


class Bench:
    """A stopped clock, one camera, and a program that reads each sample some time after it was made."""

    def __init__(self, delay=0.0):
        self.delay = delay  # None: the program reads nothing
        self.call = 0.0001  # seconds of real time that a request takes
        self.real = 0.0
        self.time = BEGIN
        self.steps = []
        self.made = self.read = 0
        self.due = None  # real time at which the program reads the newest sample
        self.camera = SERIAL
        self.stopped = False

    def now(self):
        return self.real

    def pause(self, seconds):
        self.real += seconds

    def ask(self, request):
        self.real += self.call
        self.stopped = request.get("stopped", self.stopped)
        if self.due is not None and self.real >= self.due:
            self.read += 1
            self.due = None
        if "advance" in request:
            self.steps.append(request["advance"])
            before = self.time - BEGIN
            self.time += round(request["advance"] * 1e9)
            new = (self.time - BEGIN) // 2_500_000 - before // 2_500_000
            if self.camera and new > 0:
                self.made += new
                if self.delay is not None:
                    self.due = self.due or self.real + self.delay
        cameras = [{"serialNumber": self.camera, "samplesProduced": self.made, "samplesRead": self.read}]
        return {"ok": True, "stopped": self.stopped, "time": self.time, "cameras": cameras if self.camera else []}

    def reopen(self, camera):
        self.camera, self.made, self.read, self.due = camera, 0, 0, None

    def pace(self, speed):
        return Pace(self.ask, speed, self.now, self.pause)

    def run(self, pace, seconds):
        end = self.real + seconds
        while self.real < end:
            pace.step()


class PaceTest(unittest.TestCase):

    def test_each_sample_is_read_before_the_next_one_is_made(self):
        bench = Bench(delay=0.0002)
        pace = bench.pace(4.0)
        bench.run(pace, 10.0)
        made, read = pace.samples
        self.assertLessEqual(made - read, 1)
        self.assertGreater(made, 15900)

    def test_the_clock_is_no_faster_than_asked(self):
        for speed in (1.0, 4.0):
            with self.subTest(speed=speed):
                bench = Bench(delay=0.0)
                pace = bench.pace(speed)
                bench.run(pace, 10.0)
                self.assertAlmostEqual(pace.seconds, 10.0 * speed, delta=2 * SAMPLE)
                self.assertAlmostEqual(max(bench.steps), SAMPLE)

    def test_a_late_program_delays_the_clock_no_longer_than_the_limit(self):
        for delay in (0.01, None):
            with self.subTest(delay=delay):
                bench = Bench(delay)
                pace = bench.pace(4.0)
                bench.run(pace, 10.0)
                self.assertAlmostEqual(pace.seconds, 40.0 - MOST_BEHIND, delta=2 * SAMPLE)
                made, read = pace.samples
                self.assertEqual((made, read), (bench.made, bench.read))
                self.assertGreater(made - read, 10000)

    def test_a_program_that_was_late_once_catches_up_without_a_missing_sample(self):
        bench = Bench(delay=0.0001)
        pace = bench.pace(2.0)
        bench.run(pace, 1.0)
        bench.delay = 0.9 * MOST_BEHIND / 2.0
        bench.run(pace, 1.5 * SAMPLE)
        bench.delay = 0.0001
        bench.run(pace, 5.0)
        self.assertLessEqual(bench.made - bench.read, 1)
        self.assertAlmostEqual(pace.seconds, bench.real * 2.0, delta=2 * SAMPLE)

    def test_a_bench_that_answers_late_does_not_delay_the_clock_longer_either(self):
        bench = Bench(delay=0.0)
        bench.call = 0.01
        pace = bench.pace(4.0)
        bench.run(pace, 10.0)
        self.assertAlmostEqual(pace.seconds, 40.0 - MOST_BEHIND, delta=0.05)

    def test_without_a_camera_the_clock_keeps_its_pace(self):
        bench = Bench()
        bench.reopen(None)
        pace = bench.pace(4.0)
        bench.run(pace, 5.0)
        self.assertAlmostEqual(pace.seconds, 20.0, delta=2 * SAMPLE)
        self.assertEqual(pace.samples, (0, 0))

    def test_samples_of_all_openings_count(self):
        bench = Bench(delay=0.0)
        pace = bench.pace(4.0)
        total = [0, 0]
        for camera in (SERIAL, SERIAL, None, 27182818, SERIAL):
            bench.run(pace, 1.0)
            pace.count(bench.ask({"command": "clock"}))
            total[0] += bench.made
            total[1] += bench.read
            bench.reopen(camera)
        bench.run(pace, 0.5)
        self.assertEqual(pace.samples, (total[0] + bench.made, total[1] + bench.read))

    def test_a_calibration_of_a_closed_camera_counts_no_samples(self):
        bench = Bench(delay=0.0)
        pace = bench.pace(4.0)
        bench.run(pace, 1.0)
        bench.camera = None
        bench.run(pace, 1.0)
        total = pace.samples
        # The counts of the last opening, while time goes on and nothing is read.
        bench.camera, bench.delay, bench.due = SERIAL, None, None
        bench.run(pace, 1.0)
        self.assertGreater(bench.made, total[0] + 1000)
        self.assertEqual(pace.samples, total)
        self.assertAlmostEqual(pace.seconds, 12.0, delta=2 * SAMPLE)
        bench.delay = 0.0
        bench.reopen(SERIAL)
        bench.run(pace, 1.0)
        self.assertEqual(pace.samples, (total[0] + bench.made, total[1] + bench.read))

    def test_the_clock_is_stopped_and_released(self):
        bench = Bench()
        pace = bench.pace(4.0)
        self.assertTrue(bench.stopped)
        pace.release()
        self.assertFalse(bench.stopped)


class SteppedClockTest(unittest.TestCase):
    """With a socket and a thread."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = pathlib.Path(self.folder.name) / "bench.sock"
        self.listener = socket.socket(socket.AF_UNIX)
        self.addCleanup(self.listener.close)
        self.listener.bind(str(self.path))
        self.listener.listen()

    def serve(self, answers, then):
        """Answers this many requests, then calls then(connection, request)."""
        def run():
            bench = Bench()
            connection, _ = self.listener.accept()
            with connection, connection.makefile("rb") as lines:
                for number, line in enumerate(lines):
                    if number >= answers and then(connection, json.loads(line)):
                        return
                    connection.sendall(json.dumps(bench.ask(json.loads(line))).encode("ascii") + b"\n")
        server = threading.Thread(target=run, daemon=True)
        server.start()
        return server

    def test_a_bench_that_does_not_answer_is_a_problem_and_blocks_nobody(self):
        impatient, go_on = threading.Event(), threading.Event()

        def hold(*_):
            """The first answer that is held waits for the short limit, which counts from the next request."""
            if not impatient.is_set():
                impatient.wait(30)
                return False
            return go_on.wait(30)
        server = self.serve(5, hold)
        clock = SteppedClock(self.path, 4.0, patience=30)
        clock.connection.socket.settimeout(0.05)
        impatient.set()
        clock.thread.join(30)
        self.assertIn("timed out", clock.problem)
        clock.stop()
        go_on.set()
        server.join(30)

    def test_a_bench_that_ends_is_a_problem(self):
        server = self.serve(5, lambda *_: True)
        clock = SteppedClock(self.path, 4.0, patience=30)
        clock.thread.join(30)
        self.assertRegex(clock.problem, "closed the connection|Connection reset|Broken pipe")
        clock.stop()
        server.join(30)

    def test_a_refusal_is_a_problem(self):
        def refuse(connection, _):
            connection.sendall(b'{"ok":false,"error":"the clock is not stopped"}\n')
            return True
        server = self.serve(5, refuse)
        clock = SteppedClock(self.path, 4.0, patience=30)
        clock.thread.join(30)
        self.assertIn("the clock is not stopped", clock.problem)
        clock.stop()
        server.join(30)

    def test_stop_releases_the_clock(self):
        last = []
        stepped = threading.Event()

        def note(_, request):
            last.append(request)
            stepped.set()
        server = self.serve(5, note)
        clock = SteppedClock(self.path, 4.0, patience=30)
        self.assertTrue(stepped.wait(30))
        clock.stop()
        server.join(30)
        self.assertEqual(last[-1], {"command": "clock", "stopped": False})
        self.assertIsNone(clock.problem)


unittest.main(verbosity=2)
