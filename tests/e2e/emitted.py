"""The output of a virtual camera, computed independently.

The samples of the bench's physics are a function of the camera's description, the moment of plugging in
and a sample's number: noise and jitter come from a hash of seed, purpose and number. This module computes
them from that description alone, in Python, and shares no code with the bench. The moment of plugging in
is not known outside; it follows from the timestamps of a recording, whose jitter fits one moment and one
numbering only.
"""

import math
import struct

NS = 1_000_000_000
PERIOD = {"imu": 2_500_000, "mag": 20_000_000, "baro": 40_000_000}  # ns
JITTER = {"imu": 1, "mag": 2, "baro": 3}  # channels of the random numbers
ACCELERATION, ANGULAR_VELOCITY, MAGNETIC, PRESSURE, TEMPERATURE, WEATHER = 4, 7, 10, 13, 14, 1000
TEMPERATURE_SLOT = 40_000_000  # ns
GRAVITY = 9.80665
MASK = (1 << 64) - 1


def mix(x):
    """The finaliser of SplitMix64."""
    x = (x + 0x9E3779B97F4A7C15) & MASK
    x = ((x ^ (x >> 30)) * 0xBF58476D1CE4E5B9) & MASK
    x = ((x ^ (x >> 27)) * 0x94D049BB133111EB) & MASK
    return x ^ (x >> 31)


def float32(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def ulps(a, b):
    """Distance of two numbers in steps of single precision."""
    def key(x):
        (bits,) = struct.unpack("i", struct.pack("f", x))
        return bits if bits >= 0 else -(bits & 0x7FFFFFFF)
    return abs(key(a) - key(b))


def product(a, b):
    """Of two rotations; all quaternions are w, x, y, z."""
    return (a[0] * b[0] - a[1] * b[1] - a[2] * b[2] - a[3] * b[3],
            a[0] * b[1] + a[1] * b[0] + a[2] * b[3] - a[3] * b[2],
            a[0] * b[2] - a[1] * b[3] + a[2] * b[0] + a[3] * b[1],
            a[0] * b[3] + a[1] * b[2] - a[2] * b[1] + a[3] * b[0])


def inverse(q):
    return (q[0], -q[1], -q[2], -q[3])


def about(axis, angle):
    half = 0.5 * angle
    return (math.cos(half), *(math.sin(half) * a for a in axis))


def matrix(q):
    w, x, y, z = q
    return ((1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)),
            (2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)),
            (2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)))


def into_body(q, v):
    """A vector of the world as the body with this pose has it."""
    m = matrix(q)
    return tuple(sum(m[row][column] * v[row] for row in range(3)) for column in range(3))


def euler_matrix(angles):
    """Rz(Z) Ry(Y) Rx(X), angles X, Y, Z in degrees."""
    x, y, z = (math.radians(a) for a in angles)
    return matrix(product(product(about((0, 0, 1), z), about((0, 1, 0), y)), about((1, 0, 0), x)))


def turn(q):
    """Rotation vector of a small turn."""
    sine = math.sqrt(q[1] ** 2 + q[2] ** 2 + q[3] ** 2)
    factor = 2.0 if sine < 1e-9 else 2.0 * math.atan2(sine, abs(q[0])) / sine
    return tuple(math.copysign(factor, q[0]) * c for c in q[1:])


def tumble(seconds):
    def part(axis, turns):
        return about(axis, 2 * math.pi * math.remainder(turns, 1.0))
    return product(product(part((0, 1, 0), seconds / 24.6), part((1, 0, 0), seconds / 18.48)),
                   part((0, 0, 1), seconds / 2.74))


def heading_pose(heading, pitch, roll):
    """The pose of a camera that looks in the heading, nose up by pitch, then right side down by roll."""
    h, p, r = (math.radians(a) for a in (heading, pitch, roll))
    return product(product(about((0, 1, 0), -h), about((1, 0, 0), p)), about((0, 0, 1), -r))


class Camera:
    """A camera of the bench with sensor errors of the default size.

    pose  None for the tumbling motion of the default bench, else the quaternion of a camera at rest
    """

    def __init__(self, serial, full=True, thermometer=True, pose=None, hard_iron=(18.5, -24.0, 11.5),
                 soft_iron=(1.06, 0.93, 1.02)):
        self.seed = mix(serial)
        self.full = full  # magnetometer, barometer and all four temperatures
        self.thermometer = thermometer  # where it is not full: the IMU's
        self.rest = pose
        self.hard_iron, self.soft_iron = hard_iron, soft_iron
        self.start = None  # ns, of plugging in; fit() finds it
        self.delay = 0.0  # ns, from the start of the motion to that of the streams

    def uniform(self, channel, number):
        bits = mix(mix(mix(self.seed) ^ channel) ^ number)
        return ((bits >> 11) + 0.5) * 2.0 ** -53

    def gaussian(self, channel, number):
        u, v = self.uniform(2 * channel, number), self.uniform(2 * channel + 1, number)
        return math.sqrt(-2.0 * math.log(u)) * math.cos(6.283185307179586 * v)

    def noise(self, channel, number, deviation):
        return tuple(deviation * self.gaussian(channel + i, number) for i in range(3))

    # Times.

    def offset(self, stream, number):
        """Of a sample from the moment of plugging in, ns."""
        jitter = max(-0.05, min(0.05, 0.012 * self.gaussian(JITTER[stream], number)))
        return (number + 1) * PERIOD[stream] + int(jitter * PERIOD[stream])

    def time(self, stream, number):
        return self.start + self.offset(stream, number)

    def newest(self, stream, time):
        """Number of the newest sample at a time; -1 before the first."""
        number = (time - self.start) // PERIOD[stream] + 1
        while number >= 0 and self.time(stream, number) > time:
            number -= 1
        return number

    def fit(self, stamps, most_numbers):
        """Finds the moment of plugging in from timestamps of the IMU in whole microseconds, and returns the
        numbers of their samples. Raises where no moment explains all of them to the microsecond."""
        def numbers_from(first):
            start = 1000 * stamps[0] - self.offset("imu", first)
            low, high, numbers = start, start + 999, []
            for i, stamp in enumerate(stamps):
                number = round((1000 * stamp - start) / PERIOD["imu"]) - 1
                offset = self.offset("imu", number)
                low, high = max(low, 1000 * stamp - offset), min(high, 1000 * stamp + 999 - offset)
                if low > high:
                    return i, None
                numbers.append(number)
            self.start = (low + high) // 2
            return len(stamps), numbers

        best = 0
        for first in range(most_numbers):
            explained, numbers = numbers_from(first)
            if numbers is not None:
                return numbers
            best = max(best, explained)
        raise AssertionError(f"no moment of plugging in explains the times of the {len(stamps)} rows as those of "
                             f"the samples that the camera emits; the best one explains the first {best}")

    # Values, in double precision.

    def pose(self, time):
        return self.rest if self.rest else tumble((time - self.start + self.delay) * 1e-9)

    def fit_motion(self, time, angles):
        """Finds the start of the motion, at most 10 s before that of the streams, from one orientation. The bench reads
        the clock for each of them, and a busy machine may go on with something else between."""
        if self.rest:
            return
        seen = euler_matrix(angles)

        def error(delay):
            m = matrix(tumble((time - self.start + delay) * 1e-9))
            return sum((m[i][j] - seen[i][j]) ** 2 for i in range(3) for j in range(3))
        nearest = min(range(1000), key=lambda step: error(step * 10e6)) * 10e6
        low, high = max(nearest - 10e6, 0.0), nearest + 10e6
        for _ in range(80):
            a, b = low + (high - low) / 3, high - (high - low) / 3
            low, high = (low, b) if error(a) < error(b) else (a, high)
        self.delay = (low + high) / 2

    def angular_velocity(self, number):
        time, step = self.time("imu", number), 250_000
        before, after = self.pose(time - step), self.pose(time + step)
        rate = tuple(math.degrees(2000.0 * c) for c in turn(product(inverse(before), after)))
        noise = self.noise(ANGULAR_VELOCITY, number, 0.06)
        return tuple(r + b + n for r, b, n in zip(rate, (0.08, -0.05, 0.03), noise))

    def acceleration(self, number):
        force = into_body(self.pose(self.time("imu", number)), (0.0, GRAVITY, 0.0))
        return tuple(f + b + n for f, b, n in
                     zip(force, (0.02, -0.015, 0.03), self.noise(ACCELERATION, number, 0.03)))

    def magnetic_field(self, number):
        """Before it is rounded to counts of 1/16 uT."""
        inclination, declination = math.radians(64.0), math.radians(2.5)
        horizontal = 48.0 * math.cos(inclination)
        world = (horizontal * math.sin(declination), -48.0 * math.sin(inclination), -horizontal * math.cos(declination))
        body = into_body(self.pose(self.time("mag", number)), world)
        return tuple(s * b + h + n for s, b, h, n in
                     zip(self.soft_iron, body, self.hard_iron, self.noise(MAGNETIC, number, 0.25)))

    def pressure(self, number):
        """Pa."""
        seconds = (self.time("baro", number) - self.start) * 1e-9
        weather = (0.7 * math.sin(2 * math.pi * (seconds / 600.0 + self.uniform(WEATHER, 0))) +
                   0.3 * math.sin(2 * math.pi * (seconds / 173.0 + self.uniform(WEATHER, 1))))
        return (101325.0 * (1.0 - 2.25577e-5 * 120.0) ** 5.25588 + 6.0 * weather +
                1.2 * self.gaussian(PRESSURE, number))

    def ground_pressure(self, first):
        """The mean over the two seconds before the opening, whose first sample has this number."""
        numbers = range(first - min(first, 50), max(first, 1))
        return sum(self.pressure(n) / len(numbers) for n in numbers)

    @staticmethod
    def height(ground, pressure):
        return 44330.77 * ((ground / 101325.0) ** 0.190263 - (pressure / 101325.0) ** 0.190263)

    def temperature(self, location, slot):
        """In a slot of 40 ms of the clock."""
        since = max(slot * TEMPERATURE_SLOT - self.start, 0)
        rise = 12.0 * (1.0 - math.exp(-since * 1e-9 / 240.0))
        return ((27.0, 26.5, 28.5, 29.0)[location] + rise +
                0.01 * self.gaussian(TEMPERATURE + location, since // TEMPERATURE_SLOT))
