"""What gravimon-log writes for others, read by others: NumPy, the MCAP reader of npm, and a reader of CSV.

readers_test.py PROGRAM BUILD_DIR
"""

import csv
import fcntl
import json
import math
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

import numpy

import made_recording as made

HERE = pathlib.Path(__file__).resolve().parent
PROGRAM, BUILD = sys.argv[1:3]
SKIPPED = 77
LIMIT = 120  # s
LOST_ROWS = 3


def convert(*arguments):
    return subprocess.run([PROGRAM, "convert", *map(str, arguments)], capture_output=True, text=True, check=False,
                          timeout=LIMIT)


class NoNetwork(Exception):
    """The registry of npm cannot be reached."""


def npm_install(folder):
    try:
        subprocess.run(["npm", "ci", "--no-audit", "--no-fund", "--ignore-scripts"], cwd=folder, check=True,
                       capture_output=True, text=True, timeout=LIMIT)
    except subprocess.TimeoutExpired as problem:
        raise NoNetwork(str(problem)) from None
    except subprocess.CalledProcessError as problem:
        no_network = re.search(r"\b(ENOTFOUND|EAI_AGAIN|ECONNREFUSED|ECONNRESET|EHOSTUNREACH|ENETUNREACH|ETIMEDOUT|"
                               r"ERR_SOCKET_TIMEOUT)\b", problem.stderr)
        if no_network:
            raise NoNetwork(no_network[0]) from None
        print(problem.stderr, file=sys.stderr)
        raise


def install_reader():
    """The folder with the reader, installed once."""
    folder = pathlib.Path(BUILD) / "mcap_reader"
    folder.mkdir(exist_ok=True)
    lock = (HERE / "node" / "package-lock.json").read_bytes()
    done = folder / "installed"
    with open(folder / "in-use", "w", encoding="ascii") as in_use:
        fcntl.flock(in_use, fcntl.LOCK_EX)  # another run in this build folder
        if not done.exists() or done.read_bytes() != lock:
            for name in ("package.json", "package-lock.json"):
                shutil.copyfile(HERE / "node" / name, folder / name)
            npm_install(folder)
            done.write_bytes(lock)
        shutil.copyfile(HERE / "node" / "read_mcap.mjs", folder / "read_mcap.mjs")
    return folder


def to_robot(v):
    return [-v[2], -v[0], v[1]]


def rotation(degrees):
    """Rz Ry Rx."""
    x, y, z = (math.radians(d) for d in degrees)
    about_x = numpy.array([[1, 0, 0], [0, math.cos(x), -math.sin(x)], [0, math.sin(x), math.cos(x)]])
    about_y = numpy.array([[math.cos(y), 0, math.sin(y)], [0, 1, 0], [-math.sin(y), 0, math.cos(y)]])
    about_z = numpy.array([[math.cos(z), -math.sin(z), 0], [math.sin(z), math.cos(z), 0], [0, 0, 1]])
    return about_z @ about_y @ about_x


def matrix(q):
    x, y, z, w = q
    return numpy.array([[1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)],
                        [2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)],
                        [2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)]])


BODY = numpy.array([[0, 0, -1], [-1, 0, 0], [0, 1, 0]])  # camera's axes to forward, left, up
WORLD = numpy.array([[1, 0, 0], [0, 0, -1], [0, 1, 0]])  # east, up, south to east, north, up


class Case(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.input = self.folder / "in.csv"

    def given(self, count=4000, **keywords):
        rows = list(made.rows(count))
        made.write(self.input, rows, **keywords)
        return made.Expected(rows)

    def converted(self, form, *more):
        output = self.folder / f"out.{form}"
        done = convert(self.input, output, "--to", form, *more)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return output

    def close(self, values, texts, factor):
        """Equal within the printed digits."""
        for value, text in zip(values, texts, strict=True):
            self.assertLessEqual(abs(value - float(text) * factor), abs(float(text) * factor) * 1e-15)


class Summary(Case):

    def test_samples_of_each_sensor_are_counted(self):
        expected = self.given()
        for form in ("mcap", "euroc", "npz"):
            output = self.folder / f"out.{form}"
            temperatures = 0 if form == "euroc" else len(expected.temperatures)
            self.assertEqual(convert(self.input, output, "--to", form).stdout,
                             f"{output}: {len(expected.imu)} samples of the IMU, {len(expected.magnetic)} of the magnetometer, "
                             f"{len(expected.barometer)} of the barometer, {temperatures} of the temperatures\n")


class Source(Case):

    def test_the_name_of_the_recording_is_text_in_utf_8(self):
        for name, shown in ((b"a b.csv", "a b.csv"), (b"\xff.csv", "\ufffd.csv"), (b"\xc3\xa4\n\x1b.csv", "\xe4  .csv")):
            self.input = self.folder / os.fsdecode(name)
            self.given(10)
            output = self.converted("mcap")
            value = shown.encode()
            self.assertIn(b"source" + struct.pack("<I", len(value)) + value, output.read_bytes())
            output.unlink()


class Npz(Case):

    def test_arrays_hold_the_values_of_the_file(self):
        expected = self.given()
        arrays = numpy.load(self.converted("npz"), allow_pickle=False)
        self.assertEqual(str(arrays["axes"]), "x right, y up, z backward")
        self.assertEqual(arrays["imu_time_ns"].dtype, numpy.dtype("<i8"))
        self.assertEqual(arrays["imu_time_ns"].tolist(), [stamp for stamp, _ in expected.imu])
        for name, columns, factor, samples in (
                ("acceleration_m_s2", slice(4, 7), 1.0, expected.imu),
                ("angular_velocity_rad_s", slice(7, 10), math.pi / 180, expected.imu),
                ("magnetic_field_t", slice(10, 13), 1e-6, expected.magnetic),
                ("temperature_left_right_imu_barometer_c", slice(19, 23), 1.0, expected.temperatures)):
            values = arrays[name]
            self.assertEqual(values.shape, (len(samples), columns.stop - columns.start), name)
            for value, (_, row) in zip(values, samples):
                self.close(value, row[columns], factor)
        self.assertEqual(arrays["magnetic_field_time_ns"].tolist(), [stamp for stamp, _ in expected.magnetic])
        self.assertEqual(arrays["barometer_time_ns"].tolist(), [stamp for stamp, _ in expected.barometer])
        self.close(arrays["pressure_pa"], [row[16] for _, row in expected.barometer], 100.0)
        self.close(arrays["relative_altitude_m"], [row[17] for _, row in expected.barometer], 1.0)
        self.assertEqual(arrays["moving_state"].tolist(), [int(float(row[18])) for _, row in expected.imu])
        for value, (_, row) in list(zip(arrays["orientation_xyzw"], expected.imu))[::97]:
            numpy.testing.assert_allclose(matrix(value), rotation([float(t) for t in row[13:16]]), atol=1e-12)
        self.assertGreater(len(expected.magnetic), 400)
        self.assertGreater(len(expected.barometer), 200)

    def test_axes_can_be_those_of_a_robot(self):
        expected = self.given(100)
        arrays = numpy.load(self.converted("npz", "--axes", "robot"))
        self.assertEqual(str(arrays["axes"]), "x forward, y left, z up")
        for value, turned, (_, row) in zip(arrays["acceleration_m_s2"], arrays["orientation_xyzw"], expected.imu):
            self.assertEqual(value.tolist(), to_robot([float(t) for t in row[4:7]]))
            numpy.testing.assert_allclose(matrix(turned), WORLD @ rotation([float(t) for t in row[13:16]]) @ BODY.T,
                                          atol=1e-12)

    def test_every_row_counts_also_behind_a_carriage_return(self):
        self.given(50, end="\r\n")
        self.assertEqual(len(numpy.load(self.converted("npz"))["imu_time_ns"]), 50)

    def test_one_row_is_enough(self):
        self.given(1)
        arrays = numpy.load(self.converted("npz"))
        self.assertEqual(arrays["acceleration_m_s2"].shape, (1, 3))
        self.assertEqual(arrays["magnetic_field_t"].shape, (0, 3))

    def test_a_file_of_one_sensor_has_its_arrays_only(self):
        for header, row, names in (
                ("idx,baro_Timestamp[sec],press[hPa],rel_alt[m],", "0,1000.5,1013.25,0.5,",
                 {"barometer_time_ns", "pressure_pa", "relative_altitude_m"}),
                ("idx,mag_Timestamp[sec],magX[uT],magY[uT],magZ[uT],", "0,1000.5,1,2,3,",
                 {"magnetic_field_time_ns", "magnetic_field_t"}),
                ("idx,imu_Timestamp[sec],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],", "0,1000.5,1,2,3,",
                 {"imu_time_ns", "angular_velocity_rad_s"})):
            self.input.write_text(f"{header}\n{row}\n", encoding="ascii")
            output = self.converted("npz")
            self.assertEqual(set(numpy.load(output).files), names | {"axes", "axes_of_world"})
            output.unlink()

    def test_rows_that_repeat_a_slow_sensor_are_not_left_out(self):
        rows = "".join(f"{number},{stamp},1,2,3,\n" for number, stamp in enumerate((0, 0, 5, 5, 5, 6, 6, 7)))
        self.input.write_text("idx,mag_Timestamp[sec],magX[uT],magY[uT],magZ[uT],\n" + rows, encoding="ascii")
        arrays = numpy.load(self.converted("npz"))
        self.assertEqual(arrays["magnetic_field_time_ns"].tolist(), [stamp * 10**9 for stamp in (5, 6, 7)])

    def test_zeros_are_not_temperatures(self):
        rows = list(made.rows(100))
        for row in rows:
            row[19:23] = [made.text(0)] * 4
        made.write(self.input, rows)
        arrays = numpy.load(self.converted("npz"))
        self.assertEqual(arrays["temperature_time_ns"].tolist(), [])
        self.assertEqual(arrays["temperature_left_right_imu_barometer_c"].shape, (0, 4))
        self.assertEqual(len(arrays["barometer_time_ns"]), 6)


class Euroc(Case):

    def test_the_imu_has_turned_values_to_their_last_bit(self):
        expected = self.given(500)
        root = self.converted("euroc") / "mav0"
        with open(root / "imu0" / "data.csv", encoding="ascii", newline="") as file:
            lines = list(csv.reader(file))
        self.assertEqual(lines[0][0], "#timestamp [ns]")
        self.assertEqual(len(lines), 501)
        for line, (stamp, row) in zip(lines[1:], expected.imu):
            self.assertEqual(int(line[0]), stamp)
            rates = [r * (math.pi / 180) for r in to_robot([float(t) for t in row[7:10]])]
            self.assertEqual([float(t) for t in line[1:4]], rates)
            self.assertEqual([float(t) for t in line[4:7]], to_robot([float(t) for t in row[4:7]]))
        yaml = (root / "imu0" / "sensor.yaml").read_text(encoding="ascii")
        self.assertIn("sensor_type: imu\n", yaml)
        self.assertIn("axes x forward, y left, z up", yaml)
        self.assertIn("rate_hz: 400\n", yaml)
        for name, samples in (("mag0", expected.magnetic), ("baro0", expected.barometer)):
            data = (root / name / "data.csv").read_text(encoding="ascii").splitlines()
            self.assertEqual([int(line.split(",")[0]) for line in data[1:]], [stamp for stamp, _ in samples])
            self.assertTrue((root / name / "sensor.yaml").exists())

    def test_an_empty_folder_may_be_there_and_a_full_one_not(self):
        self.given(10)
        output = self.folder / "out.euroc"
        output.mkdir()
        self.converted("euroc")
        done = convert(self.input, output, "--to", "euroc")
        self.assertEqual((done.returncode, done.stderr),
                         (1, f"gravimon-log: {output}: exists already: choose another name or remove it\n"))

    def test_without_a_gyroscope_there_is_no_folder(self):
        self.input.write_text("idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n0,1,1,2,3,\n", encoding="ascii")
        output = self.folder / "out.euroc"
        done = convert(self.input, output, "--to", "euroc")
        self.assertEqual(done.returncode, 1)
        self.assertIn("lacks the accelerometer or the gyroscope", done.stderr)
        self.assertFalse(output.exists())


class Refused(Case):

    def refused(self, reason, form="npz"):
        output = self.folder / "out"
        done = convert(self.input, output, "--to", form)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertRegex(done.stderr, r"\Agravimon-log: [^\n]*" + reason + r"[^\n]*\n\Z")
        self.assertFalse(output.exists())

    def test_input_that_is_no_recording(self):
        self.refused("No such file")
        self.input.write_bytes(b"")
        self.refused("is empty")
        self.input.write_bytes(b"\0" * 100)
        self.refused('no line starts with "idx,"')
        self.input.write_text(made.HEADER + "\n", encoding="ascii")
        for form in ("npz", "mcap", "euroc"):
            self.refused("has no row that can be used", form)
        self.input.write_text("idx,\n1,\n", encoding="ascii")
        self.refused("has no column of a sensor")
        self.input.unlink()
        os.mkfifo(self.input)
        self.refused("is not a regular file")

    def test_output_that_is_there_is_left_alone(self):
        self.given(10)
        before = self.input.read_bytes()
        done = convert(self.input, self.input, "--to", "mcap")
        self.assertEqual(done.returncode, 1)
        self.assertIn("exists already", done.stderr)
        self.assertEqual(self.input.read_bytes(), before)

    def test_a_full_disk_leaves_nothing(self):
        self.given(20000)
        for form in ("npz", "mcap", "euroc"):
            output = self.folder / "out"
            done = subprocess.run(["bash", "-c", 'ulimit -f 100; exec "$@"', "bash", PROGRAM, "convert", str(self.input),
                                   str(output), "--to", form], capture_output=True, text=True, check=False, timeout=LIMIT)
            self.assertEqual(done.returncode, 1)
            self.assertRegex(done.stderr, r"\Agravimon-log: [^\n]*: cannot be written: File too large\n\Z")
            self.assertFalse(output.exists())

    def test_rows_that_cannot_be_read_are_counted(self):
        rows = list(made.rows(20))
        rows[3][5] = "nan"
        rows[4][5] = ""
        rows[6][1] = rows[5][1]
        made.write(self.input, rows)
        with open(self.input, "a", encoding="ascii") as file:
            file.write("20,1706711000.17")
        done = convert(self.input, self.folder / "out.npz", "--to", "npz")
        self.assertEqual(done.returncode, LOST_ROWS)
        self.assertEqual(done.stderr, f"gravimon-log: {self.input}: left out: 1 row with another number of fields than the "
                                      "header, 2 rows with a field that is no number from -1e9 to 1e9, 1 row with the "
                                      "time of the last row that was kept\n")
        self.assertEqual(len(numpy.load(self.folder / "out.npz")["imu_time_ns"]), 17)

    def test_a_lost_row_among_thousands_is_no_failure(self):
        rows = list(made.rows(2000))
        rows[1000][5] = "nan"
        made.write(self.input, rows)
        done = convert(self.input, self.folder / "out.npz", "--to", "npz")
        self.assertEqual((done.returncode, done.stderr),
                         (0, f"gravimon-log: {self.input}: left out: 1 row with a field that is no number from -1e9 to 1e9\n"))

    def test_a_time_that_steps_back_is_a_failure(self):
        rows = list(made.rows(2000))
        for number in range(1000, 2000):
            rows[number][1] = made.time(made.START_US + number * 2500 - 3_600_000_000)
        made.write(self.input, rows)
        done = convert(self.input, self.folder / "out.npz", "--to", "npz")
        self.assertEqual((done.returncode, done.stderr),
                         (LOST_ROWS, f"gravimon-log: {self.input}: left out: 1000 rows with a time before that of the last "
                                     "row that was kept\n"))
        self.assertIn(": 1000 samples of the IMU, ", done.stdout)
        self.assertEqual(len(numpy.load(self.folder / "out.npz")["imu_time_ns"]), 1000)

    def test_a_time_of_a_slow_sensor_that_is_far_too_late_is_a_failure(self):
        rows = list(made.rows(2000))
        rows[1000][2] = made.time(made.START_US + 3_600_000_000)
        made.write(self.input, rows)
        later = len({row[2] for row in rows[1001:]} - {row[2] for row in rows[:1000]})
        done = convert(self.input, self.folder / "out.npz", "--to", "npz")
        self.assertEqual((done.returncode, done.stderr),
                         (LOST_ROWS, f"gravimon-log: {self.input}: left out: {later} samples of the magnetometer with a time "
                                     "before that of its last one that was kept\n"))
        self.assertEqual(len(numpy.load(self.folder / "out.npz")["imu_time_ns"]), 2000)


def doubles(data, offset, count):
    return struct.unpack_from(f"<{count}d", data, offset)


class Mcap(Case):
    """With the reader of npm."""

    def read(self, path):
        done = subprocess.run(["node", "read_mcap.mjs", str(path)], cwd=READER, capture_output=True, text=True, check=False,
                              timeout=LIMIT)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        content = json.loads(done.stdout)
        topics = {channel["id"]: channel["topic"] for channel in content["channels"]}
        content["of"] = {topic: [] for topic in topics.values()}
        for channel, sequence, log_time, publish_time, data in content["messages"]:
            samples = content["of"][topics[channel]]
            self.assertEqual((sequence, log_time), (len(samples), publish_time))
            samples.append((int(log_time), bytes.fromhex(data)))
        return content

    def fields(self, stamp, data, frame):
        """Where the fields of a message begin."""
        head = struct.pack("<BBBBiI", 0, 1, 0, 0, stamp // 10**9, stamp % 10**9)
        self.assertEqual(data[:12], head)
        self.assertEqual(struct.unpack_from("<I", data, 12)[0], len(frame) + 1)
        self.assertEqual(data[16:16 + len(frame) + 1], frame.encode() + b"\0")
        end = 16 + len(frame) + 1
        return end + (4 - end) % 8

    def test_messages_hold_the_values_of_the_file(self):
        expected = self.given(6000)
        content = self.read(self.converted("mcap"))
        frame = "camera_x_forward_z_up"
        self.assertEqual(content["header"]["profile"], "ros2")
        self.assertGreater(content["chunks"], 1)
        self.assertEqual([len(content["of"][f"/camera/{topic}"]) for topic in ("imu", "magnetic_field", "pressure")],
                         [len(expected.imu), len(expected.magnetic), len(expected.barometer)])
        for number, ((stamp, data), (wanted, row)) in enumerate(zip(content["of"]["/camera/imu"], expected.imu)):
            self.assertEqual(stamp, wanted)
            at = self.fields(stamp, data, frame)
            values = doubles(data, at, 37)
            self.assertEqual(len(data), at + 37 * 8)
            self.assertEqual(values[4:13] + values[16:25] + values[28:37], (0.0,) * 27)
            self.close(values[13:16], to_robot_texts(row[7:10]), math.pi / 180)
            self.close(values[25:28], to_robot_texts(row[4:7]), 1.0)
            if number % 97 == 0:
                numpy.testing.assert_allclose(matrix(values[:4]),
                                              WORLD @ rotation([float(t) for t in row[13:16]]) @ BODY.T, atol=1e-12)
        for (stamp, data), (wanted, row) in zip(content["of"]["/camera/magnetic_field"], expected.magnetic):
            self.assertEqual(stamp, wanted)
            values = doubles(data, self.fields(stamp, data, frame), 12)
            self.close(values[:3], to_robot_texts(row[10:13]), 1e-6)
        for (stamp, data), (wanted, row) in zip(content["of"]["/camera/pressure"], expected.barometer):
            self.assertEqual(stamp, wanted)
            self.close(doubles(data, self.fields(stamp, data, frame), 2)[:1], [row[16]], 100.0)
        for number, place in enumerate(("left", "right", "imu", "barometer")):
            samples = content["of"][f"/camera/temperature/{place}"]
            self.assertEqual(len(samples), len(expected.temperatures))
            for (stamp, data), (_, row) in zip(samples, expected.temperatures):
                self.close(doubles(data, self.fields(stamp, data, frame), 2)[:1], [row[19 + number]], 1.0)

    def test_schemas_and_statistics_are_those_of_ros(self):
        expected = self.given(100)
        content = self.read(self.converted("mcap", "--axes", "camera"))
        schemas = {schema["id"]: schema for schema in content["schemas"]}
        self.assertEqual({schema["name"] for schema in schemas.values()},
                         {f"sensor_msgs/msg/{name}" for name in ("Imu", "MagneticField", "FluidPressure", "Temperature")})
        for schema in schemas.values():
            self.assertEqual(schema["encoding"], "ros2msg")
            self.assertIn("MSG: std_msgs/Header\n", schema["data"])
        for channel in content["channels"]:
            self.assertEqual(channel["messageEncoding"], "cdr")
            self.assertEqual(channel["metadata"],
                             {"axes": "x right, y up, z backward", "offered_qos_profiles": ""})
        statistics = content["statistics"]
        self.assertEqual(int(statistics["messageCount"]), len(content["messages"]))
        self.assertEqual((statistics["schemaCount"], statistics["channelCount"], statistics["chunkCount"]), (4, 7, 1))
        self.assertEqual(int(statistics["messageStartTime"]), expected.imu[0][0])
        self.assertEqual(int(statistics["messageEndTime"]), expected.imu[-1][0])
        self.assertEqual(content["metadata"][0]["metadata"]["axes"], "x right, y up, z backward")
        self.assertEqual(content["counts"]["Message"], len(content["messages"]))

    def test_what_the_file_lacks_has_no_channel_or_is_marked(self):
        self.input.write_text("idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n0,1000.5,1,2,3,\n",
                              encoding="ascii")
        content = self.read(self.converted("mcap"))
        self.assertEqual(list(content["of"]), ["/camera/imu"])
        stamp, data = content["of"]["/camera/imu"][0]
        values = doubles(data, self.fields(stamp, data, "camera_x_forward_z_up"), 37)
        self.assertEqual((values[4], values[16], values[28]), (-1.0, -1.0, 0.0))
        self.assertEqual(values[:4], (0.0, 0.0, 0.0, 1.0))  # no turn, as there is none
        self.assertEqual(values[25:28], (-3.0, -1.0, 2.0))


def to_robot_texts(texts):
    return [str(v) for v in to_robot([float(t) for t in texts])]


if __name__ == "__main__":
    cases = [case for case in Case.__subclasses__() if case is not Mcap]
    skipped = ""
    if shutil.which("npm") is None or shutil.which("node") is None:
        skipped = "no npm on this machine (tools/setup test installs it)"
    else:
        try:
            READER = install_reader()
            cases.append(Mcap)
        except NoNetwork as problem:
            skipped = f"npm cannot install the reader: {problem}"
    suite = unittest.TestSuite(unittest.defaultTestLoader.loadTestsFromTestCase(case) for case in cases)
    result = unittest.TextTestRunner(verbosity=1).run(suite)
    if not result.wasSuccessful():
        sys.exit(1)
    if skipped:
        print(f"SKIPPED: MCAP files were not read by another reader: {skipped}")
        sys.exit(SKIPPED)
