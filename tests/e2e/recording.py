"""Reading a recording back, and comparing it with what the camera emitted."""

import csv
import math
import re

import emitted
from emitted import ulps

# Column groups in the order of the file: the options that ask for them, and their header.
GROUPS = (
    (("accelerometer", "gyroscope", "orientation", "movement", "temperatures"), ["imu_Timestamp[sec]"]),
    (("magnetometer",), ["mag_Timestamp[sec]"]),
    (("barometer", "temperatures"), ["baro_Timestamp[sec]"]),
    (("accelerometer",), ["accX[m/s^2]", "accY[m/s^2]", "accZ[m/s^2]"]),
    (("gyroscope",), ["gyroX[deg/s]", "gyroY[deg/s]", "gyroZ[deg/s]"]),
    (("magnetometer",), ["magX[uT]", "magY[uT]", "magZ[uT]"]),
    (("orientation",), ["orX[deg]", "orY[deg]", "orZ[deg]"]),
    (("barometer",), ["press[hPa]", "rel_alt[m]"]),
    (("movement",), ["moving"]),
    (("temperatures",), ["temp_left[C]", "temp_right[C]", "temp_imu[C]", "temp_barom[C]"]),
)
SWITCHES = ("accelerometer", "gyroscope", "magnetometer", "orientation", "barometer", "temperatures", "movement")
NAME = re.compile(r"\d{8}_\d{6}-(TIV(?:_[NPQRS])?)-sn_(\d+)-TIVSensorsData\.csv")


def columns(options=SWITCHES):
    """Header fields for the options that are on."""
    names = ["idx"]
    for wanted, group in GROUPS:
        if any(option in wanted for option in options):
            names += group
    return names


def header_line(options=SWITCHES):
    """The first line of the file: "moving" alone has a blank behind its comma."""
    return "".join("moving, " if name == "moving" else name + "," for name in columns(options)) + "\n"


class Recording:
    """A file that was read back; every line is checked for its form."""

    def __init__(self, path, options=SWITCHES, last_may_be_cut=False):
        self.path = path
        self.names = columns(options)
        raw = path.read_bytes()
        text = raw.decode("ascii")
        if "\r" in text:
            raise AssertionError(f"{path.name}: carriage returns in the file")
        expected = header_line(options)
        if not text.startswith(expected):
            raise AssertionError(f"{path.name}: the file starts with {text[:300]!r}, not with {expected!r}")
        body = text[len(expected):]
        self.cut = ""
        if last_may_be_cut:
            body, _, self.cut = body.rpartition("\n")
            body += "\n" if body else ""
        if body and not body.endswith("\n"):
            raise AssertionError(f"{path.name}: the last line is cut: {body[-60:]!r}")
        field = re.compile(r"-?\d+\.\d{9}")
        with open(path, newline="", encoding="ascii") as file:
            lines = list(csv.reader(file))
        del lines[0]
        self.rows = []
        for number, line in enumerate(lines[:body.count("\n")], 2):
            if len(line) != len(self.names) + 1 or line[-1] != "":
                raise AssertionError(f"{path.name}:{number}: {len(line) - 1} fields, {len(self.names)} expected, "
                                     f"each with a comma behind it: {line}")
            if not re.fullmatch(r"\d+", line[0]) or not all(field.fullmatch(f) for f in line[1:-1]):
                raise AssertionError(f"{path.name}:{number}: not an index and numbers with nine digits: {line}")
            self.rows.append([int(line[0]), *map(float, line[1:-1])])

    def __len__(self):
        return len(self.rows)

    def column(self, name):
        place = self.names.index(name)
        return [row[place] for row in self.rows]

    def stamps(self, stream):
        """Times in whole microseconds, as the camera gave them."""
        times = self.column(f"{stream}_Timestamp[sec]")
        stamps = [round(t * 1e6) for t in times]
        # Nine digits of a number of this size hold 0.24 us of rounding, and no more.
        assert all(abs(t * 1e6 - s) < 0.3 for t, s in zip(times, stamps)), "times finer than a microsecond"
        return stamps

    def check_order(self, absent=False):
        """idx and IMU times go up from row to row, and those of the slower sensors never go back; they are 0 while
        a sensor is absent, where that may be."""
        for name, strict in (("idx", True), ("imu_Timestamp[sec]", True), ("mag_Timestamp[sec]", False),
                             ("baro_Timestamp[sec]", False)):
            if name in self.names:
                values = self.column(name)
                if absent and not strict:
                    values = [value for value in values if value != 0.0]
                for i in range(1, len(values)):
                    assert values[i] > values[i - 1] or (not strict and values[i] == values[i - 1]), \
                        f"{self.path.name}: {name} goes from {values[i - 1]} to {values[i]} at row {i}"

    # Against the camera.

    def check_emitted(self, camera, most_numbers):
        """Every field of every row is what the camera emitted for the sample of the row's time."""
        stamps = self.stamps("imu")
        numbers = camera.fit(stamps, most_numbers)
        camera.fit_motion(camera.time("imu", numbers[0]),
                          [self.rows[0][self.names.index(f"or{a}[deg]")] for a in "XYZ"])
        # The index counts the samples that the program took; it may miss some, and takes none twice.
        idx = self.column("idx")
        for i in range(1, len(idx)):
            assert 1 <= idx[i] - idx[i - 1] <= numbers[i] - numbers[i - 1], \
                f"{self.path.name}: idx goes from {idx[i - 1]} to {idx[i]}, the sample from {numbers[i - 1]} to {numbers[i]}"
        check = _Check(self, camera, numbers)
        for i in range(len(self.rows)):
            check.row(i)
        return numbers


class _Check:
    def __init__(self, recording, camera, numbers):
        self.recording, self.camera, self.numbers = recording, camera, numbers
        self.exact = camera.rest is not None
        self.mag_stamps, self.baro_stamps = recording.stamps("mag"), recording.stamps("baro")
        self.ground = None

    def row(self, i):
        camera, number = self.camera, self.numbers[i]
        values = dict(zip(self.recording.names, self.recording.rows[i]))
        # The record was made between this sample and the next one.
        since, until = camera.time("imu", number), camera.time("imu", number + 1)

        def fail(what, seen, expected):
            raise AssertionError(f"{self.recording.path.name}, idx {values['idx']}, sample {number}: {what} is {seen}, "
                                 f"the camera emitted {expected}")

        def near(what, seen, expected, tolerance):
            """Equal in single precision for a camera at rest; of a moving one the motion's start is fitted."""
            if self.exact:
                tolerance = 1e-9  # of the nine digits
            if abs(seen - expected) > tolerance and ulps(seen, expected) > 1:
                fail(what, seen, expected)

        for axis, force, rate in zip("XYZ", camera.acceleration(number), camera.angular_velocity(number)):
            near(f"acc{axis}", values[f"acc{axis}[m/s^2]"], force, 2e-4)
            near(f"gyro{axis}", values[f"gyro{axis}[deg/s]"], rate, 2e-3)
        angles = [values[f"or{axis}[deg]"] for axis in "XYZ"]
        seen, expected = emitted.euler_matrix(angles), emitted.matrix(camera.pose(since))
        if any(abs(seen[r][c] - expected[r][c]) > 2e-5 for r in range(3) for c in range(3)):
            fail("orientation", seen, expected)
        if values["moving"] != (0.0 if self.exact else 1.0):
            fail("moving", values["moving"], not self.exact)
        if camera.full:
            self.magnetometer(i, values, since, until, fail)
            self.barometer(i, values, since, until, fail, near)
            labels = {"temp_left[C]": 2, "temp_right[C]": 3, "temp_imu[C]": 0, "temp_barom[C]": 1}
        else:
            for name in ("mag_Timestamp[sec]", "magX[uT]", "magY[uT]", "magZ[uT]", "baro_Timestamp[sec]",
                         "press[hPa]", "rel_alt[m]"):
                if values[name] != 0.0:
                    fail(name, values[name], "nothing")
            if not camera.thermometer:
                for name in ("temp_left[C]", "temp_right[C]", "temp_imu[C]", "temp_barom[C]"):
                    if values[name] != 0.0:
                        fail(name, values[name], "nothing")
                return
            labels = {"temp_left[C]": 0, "temp_right[C]": 0, "temp_imu[C]": 0, "temp_barom[C]": 0}
        slots = range(since // emitted.TEMPERATURE_SLOT, until // emitted.TEMPERATURE_SLOT + 1)
        for name, location in labels.items():
            candidates = [camera.temperature(location, slot) for slot in slots]
            if not any(ulps(values[name], c) <= 1 for c in candidates):
                fail(name, values[name], candidates)

    def newest(self, stream, stamp, since, until, fail):
        """The number of the sample with this time, which must have been the newest one then."""
        camera = self.camera
        number = round((1000 * stamp - camera.start) / emitted.PERIOD[stream]) - 1
        allowed = (camera.newest(stream, since), camera.newest(stream, until))
        # The moment of plugging in is known to within a microsecond.
        if number not in allowed or abs(camera.time(stream, number) - 1000 * stamp - 500) > 1500:
            fail(f"{stream} time", stamp, [camera.time(stream, n) // 1000 for n in allowed])
        return number

    def magnetometer(self, i, values, since, until, fail):
        number = self.newest("mag", self.mag_stamps[i], since, until, fail)
        for axis, field in zip("XYZ", self.camera.magnetic_field(number)):
            seen = values[f"mag{axis}[uT]"] * 16
            # Whole counts; a field that lies half way between two may be rounded to either.
            if seen != round(seen) or abs(seen - field * 16) > 0.505:
                fail(f"mag{axis}", seen / 16, field)

    def barometer(self, i, values, since, until, fail, near):
        camera = self.camera
        number = self.newest("baro", self.baro_stamps[i], since, until, fail)
        pressure = camera.pressure(number)
        near("pressure", values["press[hPa]"], emitted.float32(pressure) / 100.0, 0)
        height = values["rel_alt[m]"]
        if self.ground is None:
            # The moment of the opening is not known either; one first sample explains the altitude.
            grounds = (camera.ground_pressure(first) for first in range(number + 1))
            self.ground = next((g for g in grounds if abs(camera.height(g, pressure) - height) < 1e-6), None)
            if self.ground is None:
                fail("rel_alt", height, "none such for any moment of opening")
        if abs(camera.height(self.ground, pressure) - height) > 1e-6:
            fail("rel_alt", height, camera.height(self.ground, pressure))


def least_gap_ms(frequency):
    """Two rows are at least this far apart on the wall clock: whole milliseconds are compared with the
    period."""
    return math.ceil(1000 / frequency - 1e-9)


def check_count(recording, frequency, seconds, late=0.3):
    """The number of rows is one that the rule of rows allows: a row comes at the first sample at which the
    milliseconds since the last row, cut to a whole number, have reached the period.

    seconds  wall clock time from before the start to after the end
    late     how much later than its sample the first row may have been written, against the last one
    """
    gap = least_gap_ms(frequency) / 1000
    rows, stamps, idx = len(recording), recording.stamps("imu"), recording.column("idx")
    assert rows >= 2, f"{frequency} Hz: {rows} rows in {seconds:.1f} s"
    span = (stamps[-1] - stamps[0]) * 1e-6
    most = int(min(seconds, span + late) / gap + 1e-6) + 1
    assert rows <= most, f"{frequency} Hz: {rows} rows in {span:.3f} s, {most} at most with {1000 * gap:.0f} ms between"
    # With samples on time, the next one after the gap gets the row: the gap takes so many samples. One more
    # is allowed, and on some of the rows any number, for samples that a busy machine hands over late.
    samples = int(least_gap_ms(frequency) / 2.5) + 1
    steps = [b - a for a, b in zip(idx, idx[1:])]
    late_rows = sum(step > samples + 1 for step in steps)
    assert late_rows <= 1 + 0.1 * len(steps), \
        f"{frequency} Hz: {late_rows} of {len(steps)} rows come more than {samples + 1} samples after the one before"
    return span, min(steps), sorted(steps)[len(steps) // 2], max(steps)
