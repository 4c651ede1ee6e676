"""A recording in the form of the program, with values of its own, and what is in it."""

import random

HEADER = ("idx,imu_Timestamp[sec],mag_Timestamp[sec],baro_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],"
          "gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],magX[uT],magY[uT],magZ[uT],orX[deg],orY[deg],orZ[deg],"
          "press[hPa],rel_alt[m],moving, temp_left[C],temp_right[C],temp_imu[C],temp_barom[C],")
START_US = 1_706_711_000_123_456


def rows(count):
    """Of 400 Hz, with the magnetometer at 50 Hz and the barometer at 25 Hz; the first rows come before both."""
    chance = random.Random(7)
    mag, baro = ["0.000000000"] * 4, ["0.000000000"] * 3
    for number in range(count):
        if number >= 4 and number % 8 == 4:
            mag = [time(START_US + number * 2500 - 700), *(text(chance.uniform(-60, 60)) for _ in range(3))]
        if number >= 8 and number % 16 == 8:
            baro = [time(START_US + number * 2500 - 300), text(chance.uniform(950, 1050)), text(chance.uniform(-5, 5))]
        yield [str(number), time(START_US + number * 2500), mag[0], baro[0],
               *(text(chance.uniform(-20, 20)) for _ in range(3)), *(text(chance.uniform(-300, 300)) for _ in range(3)),
               *mag[1:], *(text(chance.uniform(-180, 180)) for _ in range(3)), *baro[1:],
               text(chance.choice((0, 1, 2))), *(text(chance.uniform(20, 40)) for _ in range(4))]


def time(microseconds):
    """As the program writes it: a double with nine digits."""
    return f"{microseconds / 1e6:.9f}"


def text(value):
    return f"{value:.9f}"


def microseconds(field):
    seconds, _, fraction = field.partition(".")
    return int(seconds) * 1_000_000 + round(int(fraction) / 1000)


def write(path, made, end="\n"):
    with open(path, "w", encoding="ascii", newline="") as file:
        file.write(HEADER + end)
        for row in made:
            file.write(",".join(row) + "," + end)


class Expected:
    """The samples of rows, each once, with the texts of the file."""

    def __init__(self, made):
        self.imu, self.magnetic, self.barometer = [], [], []
        for row in made:
            self.imu.append((microseconds(row[1]) * 1000, row))
            for column, samples in ((2, self.magnetic), (3, self.barometer)):
                stamp = microseconds(row[column]) * 1000
                if stamp > 0 and (not samples or samples[-1][0] != stamp):
                    samples.append((stamp, row))
        # Without a barometer the first temperatures have the time of the IMU, each 40 ms.
        self.temperatures = [(START_US * 1000, made[0])] + self.barometer if made else []
