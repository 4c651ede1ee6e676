"""Recordings that a virtual camera plays and the program records again.

GRAVIMON_E2E_REPLAY_SECONDS sets how long the compared recording is.
"""

import os
import time

import livefile
import recorder_control as control
import recording
import world
from waiting import wait_for
from world import camera

SECONDS = float(os.environ.get("GRAVIMON_E2E_REPLAY_SECONDS", "12"))
REPLAY = 20000009
# Of this moment, not of the recorded one.
OWN = ("idx", "imu_Timestamp[sec]", "mag_Timestamp[sec]", "baro_Timestamp[sec]")


def values(names, line):
    """The fields of a row that come from the camera, as they stand in the file."""
    return ",".join(field for name, field in zip(names, line.split(",")) if name not in OWN)


def lines(path):
    """The rows."""
    return path.read_text(encoding="ascii").splitlines()[1:]


def rows_on_time(times):
    """How many of samples at these times get a row when each is taken at its moment: the whole milliseconds since
    the last row must have reached 2.5."""
    count, last = 0, -1.0
    for time_of in times:
        if time_of - last >= 0.003 - 1e-6:
            count, last = count + 1, time_of
    return count


class Replay(world.EndToEndTest):

    def play(self, path, *options):
        """The program with a camera that plays the file, and no other one."""
        program = self.start(bench=[])
        wait_for("the bench answers", program.control.exists)
        program.om_bench("add", "TIV_Q", REPLAY, "--replay", path, *options)
        program.wait_for_streaming(REPLAY)
        return program

    def test_second_recording_equals_the_first_digit_by_digit(self):
        program = self.start_streaming()
        first = control.start_recording(program)
        end = time.monotonic() + SECONDS
        wait_for("the first recording", lambda: time.monotonic() > end, SECONDS + 10)
        control.stop_recording(program, first)
        kept = recording.Recording(first)
        kept.check_order()
        self.close(program)

        program = self.play(first)
        second = control.start_recording(program)
        end = time.monotonic() + SECONDS
        wait_for("the second recording", lambda: time.monotonic() > end, SECONDS + 10)
        control.stop_recording(program, second)
        again = recording.Recording(second)
        again.check_order()
        self.close(program)

        played = [values(kept.names, line) for line in lines(first)]
        places = {line: number for number, line in enumerate(played)}
        self.assertEqual(len(places), len(played), "rows of the first recording are alike")
        found = []
        for number, line in enumerate(lines(second)):
            place = places.get(values(again.names, line))
            if place is None:
                near = min(played, key=lambda p, l=line: sum(a != b for a, b in zip(p.split(","), values(
                    again.names, l).split(","))))
                self.fail(f"row {number} is not one of the first recording:\n{values(again.names, line)}\nnearest:\n{near}")
            found.append(place)
        # One after the other, around the end at most once; a busy machine misses some.
        steps = [(b - a) % len(played) for a, b in zip(found, found[1:])]
        self.assertTrue(all(0 < step < len(played) / 2 for step in steps), "rows out of order")
        span = sum(steps) + 1
        first_times, second_times = kept.column("imu_Timestamp[sec]"), again.column("imu_Timestamp[sec]")
        self.check_coverage(kept, again, found, span)
        # At the recorded rate.
        for i, (a, b) in enumerate(zip(found, found[1:])):
            if b > a:
                self.assertAlmostEqual(second_times[i + 1] - second_times[i], first_times[b] - first_times[a], delta=2e-6)

    def check_coverage(self, kept, again, found, span):
        """A busy machine makes the program miss samples, of which a camera keeps the newest only. How many depends
        on the machine; but a sample that is played is the newest for twice as long as one of the first stream, so
        that no smaller share of them may be taken. Of those that are taken each gets a row that comes 3 ms after the
        row before; they are 5 ms apart for the most part, and the last one may have been late."""
        times = kept.column("imu_Timestamp[sec]")
        seconds = times[-1] - times[0]
        taken = again.column("idx")[-1] - again.column("idx")[0] + 1
        steps = [(b - a) % len(times) for a, b in zip(found, found[1:])]
        share = self.share_taken(kept), self.share_taken(again, steps)
        possible = rows_on_time(times) / len(times)
        print(f"{len(times)} rows of {seconds:.1f} s, {share[0]:.1%} of the samples taken; {span} played, {share[1]:.1%} "
              f"taken, {possible:.1%} far enough apart, {len(found)} recorded again", flush=True)
        self.assertGreater(share[1], share[0] - 0.15)  # the machine may be busier than it was
        self.assertGreater(len(found), 0.85 * possible * taken)
        # Never two in a row without one, as the second is 3 ms behind the last row in any case.
        idx = again.column("idx")
        self.assertLess(sum(b - a > 2 for a, b in zip(idx, idx[1:])), 0.01 * len(idx))

    @staticmethod
    def share_taken(recorded, steps=None):
        """Share of the samples that the program took, of the first stream or of those that are played, without pauses
        of half a second and more."""
        times, idx = recorded.column("imu_Timestamp[sec]"), recorded.column("idx")
        emitted = steps or [400.0 * (b - a) for a, b in zip(times, times[1:])]
        goes_on = [i for i in range(len(emitted)) if times[i + 1] - times[i] < 0.5]
        return sum(idx[i + 1] - idx[i] for i in goes_on) / sum(emitted[i] for i in goes_on)

    def made_up(self, rows, names="idx,imu_Timestamp[sec],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],"):
        path = world.pathlib.Path(os.environ["HOME"]) / f"{self._testMethodName}.csv"
        path.write_text(names + "\n" + "".join(row + "\n" for row in rows), encoding="ascii")
        self.addCleanup(path.unlink)
        return path

    def test_what_is_sound_of_a_damaged_file_is_played(self):
        rows = [f"{i},{1706711000 + i * 0.005:.9f},{i}.5,-{i}.25,0.125," for i in range(400)]
        rows[100] = "100,oops,1,2,3,"
        rows[200] = rows[199]
        rows[399] = rows[399][:-8]
        path = self.made_up(rows)
        program = self.play(path)
        live = livefile.LiveFile(program)
        gyro = live.wait_until("the third second", lambda r: r["gyroX[deg/s]"] > 300)
        self.assertEqual(-gyro["gyroY[deg/s]"], gyro["gyroX[deg/s]"] - 0.25)
        # What the file has no columns for is not there.
        for name in ("mag_Timestamp[sec]", "baro_Timestamp[sec]", "magX[uT]", "press[hPa]"):
            self.assertEqual(gyro[name], 0.0, name)
        live.wait_until("the next round", lambda r: r["gyroX[deg/s]"] < 100)
        live.stop()
        self.assertEqual(program.errors(), [
            f"{path}: 3 rows left out, the first: line 102 contains \"oops\" in column imu_Timestamp[sec]; not recorded, "
            "so not available: accelerometer, magnetometer, orientation, barometer, moving state, temperatures"])
        self.assertEqual(program.end(), 0)

    def test_once_ends_with_the_last_row(self):
        # Long enough for the recording to begin meanwhile. The last row is a second behind: rows less than 3 ms apart
        # are not written, and the one before may be late.
        path = self.made_up([f"{i},{1706711000 + i * 0.005 + (i == 3999):.9f},{i / 4},1,2," for i in range(4000)])
        program = self.play(path, "--once")
        live = livefile.LiveFile(program)
        live.wait_until("the last row", lambda r: r["gyroX[deg/s]"] == 999.75)
        # Plugged in again it starts again.
        program.om_bench("unplug", REPLAY)
        wait_for("the closed file", lambda: not control.is_open(program, live.path))
        self.assertEqual(live.latest()["gyroX[deg/s]"], 999.75)
        program.om_bench("plug", REPLAY)
        program.wait_for_streaming(REPLAY)
        program.end()

    def test_file_of_the_bench_file_that_cannot_be_played_is_one_line(self):
        path = self.made_up(["1,1,2,3,4,"])
        program = self.start(bench=[camera("TIV_Q", REPLAY, replay=str(path))])
        wait_for("a line on standard error", program.errors)
        wait_for("the bench answers", program.control.exists)
        self.assertEqual(len(program.errors()), 1)
        self.assertIn("cameras[0].replay: ", program.errors()[0])
        self.assertIn("nothing to play: fewer than two usable rows", program.errors()[0])
        self.assertEqual(program.om_bench("list")["cameras"], [])
        self.assertEqual(program.end(), 0)


if __name__ == "__main__":
    world.main()
