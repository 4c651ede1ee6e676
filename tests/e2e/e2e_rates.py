"""Recordings at each frequency, chosen with the mouse, checked row by row against the camera."""

import os
import time
import typing

import emitted
import recorder_control as control
import recording
import world
from waiting import wait_for
from world import TIV_Q

# Seconds of each recording; GRAVIMON_E2E_SECONDS=10 gives longer ones.
SECONDS = float(os.environ.get("GRAVIMON_E2E_SECONDS", "0"))
FREQUENCIES = (400, 200, 100, 50, 25, 10, 5, 1)


class Rate(typing.NamedTuple):
    """Of one recording."""
    rows: float  # per second
    keeps_pace: bool  # most samples were taken


class Rates(world.EndToEndTest):

    def test_every_frequency(self):
        program = self.start_streaming()
        wall_of_start = time.time() - 60
        former = -1
        rates = []
        for row, frequency in enumerate(FREQUENCIES):
            with self.subTest(frequency=frequency):
                options = control.open_options(program)
                control.choose_frequency(program, options, row)
                control.press(program, options, "ok")
                self.assertEqual(control.stored(program)["sample_freq"], str(frequency))

                before = time.time()
                path = control.start_recording(program)
                seconds = SECONDS or max(3.0, 4.5 / frequency)
                end = time.monotonic() + seconds
                wait_for("the end of the recording's time", lambda end=end: time.monotonic() >= end, seconds + 5)
                # The program may stand at that moment.
                control.wait_for_rows(path, 1)
                control.stop_recording(program, path)
                after = time.time()

                file = recording.Recording(path)
                self.assertEqual(control.name_parts(path), ("TIV_Q", str(TIV_Q)))
                file.check_order()
                span, least, median, most = recording.check_count(file, frequency, after - before)
                numbers = file.check_emitted(emitted.Camera(TIV_Q), int(400 * (after - wall_of_start)))
                self.assertGreaterEqual(span, 0.75 * (seconds - 1 / frequency) - 0.5)
                # The rows are of the time between the two presses.
                times = file.column("imu_Timestamp[sec]")
                # The first sample may have waited for a busy machine.
                self.assertGreater(times[0], before - 1.0)
                self.assertLess(times[-1], after + 0.1)
                # The index counts on from one recording to the next.
                self.assertGreater(file.column("idx")[0], former)
                former = file.column("idx")[-1]
                lost = numbers[-1] - numbers[0] - (former - file.column("idx")[0])
                rates.append(Rate((len(file) - 1) / span, lost < 0.2 * (numbers[-1] - numbers[0])))
                print(f"\n{frequency:4} Hz: {len(file):5} rows in {span:6.3f} s, {rates[-1].rows:6.2f} a second; "
                      f"samples from row to row {least} to {most}, mostly {median}; "
                      f"{lost} of {numbers[-1] - numbers[0]} samples not taken",
                      end=" ", flush=True)
        # A machine that is busy with something else during a recording changes its rate.
        print(f"\n{sum(rate.keeps_pace for rate in rates)} of {len(rates)} recordings kept pace", flush=True)
        for faster, slower in zip(rates, rates[1:]):
            if faster.keeps_pace and slower.keeps_pace:
                self.assertGreater(faster.rows, 0.95 * slower.rows, rates)
        for two_faster, slower in zip(rates, rates[2:]):
            if two_faster.keeps_pace and slower.keeps_pace:
                self.assertGreater(two_faster.rows, slower.rows, rates)
        self.close(program)


if __name__ == "__main__":
    world.main()
