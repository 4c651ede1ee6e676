"""gravimon-log record from outside: what ends it, what the file then holds, and the exit status.

program_test.py PROGRAM
"""

import fcntl
import json
import os
import pathlib
import pty
import re
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "e2e"))
from waiting import wait_for  # pylint: disable=wrong-import-position

PROGRAM = sys.argv[1]
PACKAGING = pathlib.Path(__file__).resolve().parents[2] / "packaging"
LIMIT = 120  # s
DONE, NOT_DONE, USAGE, INCOMPLETE = 0, 1, 2, 3
ENVIRONMENT = {**os.environ, "OM_TIV_CONTROL": "off"}
SENSORS = ["accelerometer", "gyroscope", "magnetometer", "orientation", "barometer", "movement", "temperatures"]


def run(*arguments, before=None, **variables):
    return subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, text=True, check=False, timeout=LIMIT,
                          env={**ENVIRONMENT, **variables}, preexec_fn=before)


class Case(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.file = self.folder / "a.csv"

    def start(self, *arguments, bench=None, **keywords):
        environment = {**ENVIRONMENT, **({"OM_TIV_BENCH": self.bench(*bench)} if bench is not None else {})}
        program = subprocess.Popen([PROGRAM, "record", str(self.file), *arguments], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, env=environment, **keywords)
        self.addCleanup(program.kill)
        return program

    def bench(self, *cameras):
        """Name of a bench file with these cameras."""
        file = self.folder / "bench.json"
        file.write_text(json.dumps({"cameras": cameras}), encoding="ascii")
        return str(file)

    def wait_for_rows(self, program, least):
        def there():
            self.assertIsNone(program.poll(), "the program ended")
            return self.file.exists() and self.file.read_bytes().count(b"\n") >= least
        wait_for(f"{least} lines", there)

    def rows(self):
        """Whole lines, the numbers in a row, each time once."""
        text = self.file.read_text(encoding="ascii")
        self.assertTrue(text.endswith(",\n"))
        header, *lines = text.split("\n")[:-1]
        rows = [line.split(",") for line in lines]
        for number, row in enumerate(rows):
            self.assertEqual((len(row), row[0]), (header.count(",") + 1, str(number)))
        self.assertEqual(len({row[1] for row in rows}), len(rows))
        return rows

    def summary(self, output):
        """Rows and missing samples as the last line says."""
        found = re.search(r": (\d+) rows? in [\d.]+ s, [\d.]+ Hz, (?:no gaps|\d+ gaps?, (\d+) samples? missing)", output)
        self.assertTrue(found, output)
        return int(found[1]), int(found[2] or 0)


class Record(Case):

    def test_rows_and_missing_samples_fill_the_time(self):
        done = run("record", self.file, "--seconds", 3)
        rows = self.rows()
        reported, missing = self.summary(done.stdout)
        self.assertEqual(reported, len(rows))
        self.assertEqual((done.returncode, done.stderr), (INCOMPLETE if missing else DONE, ""))
        span = float(rows[-1][1]) - float(rows[0][1])
        self.assertLess(span, 3.0)
        # Samples may be missing between the rows, and between the last row and the end.
        self.assertGreaterEqual(len(rows) + missing - 1 - span * 400, -2)
        self.assertLessEqual(len(rows) + missing - 1 - 3.0 * 400, 2)

    def test_signals_end_it_whole(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            program = self.start()
            self.wait_for_rows(program, 100)
            program.send_signal(number)
            output, errors = program.communicate(timeout=LIMIT)
            reported, missing = self.summary(output)
            self.assertEqual((program.returncode, errors), (INCOMPLETE if missing else DONE, ""))
            self.assertEqual(reported, len(self.rows()))
            self.file.unlink()

    def test_a_second_signal_ends_it_while_the_camera_opens(self):
        slow = {"model": "TIV_Q", "serialNumber": 31415926, "faults": {"openDelay": 600000}}
        program = self.start(bench=[slow])
        wait_for("the file that is created before the camera opens", self.file.exists)

        def ended():
            program.send_signal(signal.SIGINT)
            return program.poll() is not None
        wait_for("the end", ended)
        program.communicate(timeout=LIMIT)
        self.assertEqual(program.returncode, -signal.SIGINT)
        # Opening ends after five seconds too, and then removes the file.
        self.assertTrue(self.file.exists(), "the program ended when the camera could not be opened")

    def test_a_signal_that_is_ignored_at_the_start_stays_ignored(self):
        program = self.start(preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.wait_for_rows(program, 50)
        program.send_signal(signal.SIGHUP)
        self.wait_for_rows(program, self.file.read_bytes().count(b"\n") + 100)
        program.send_signal(signal.SIGINT)
        program.communicate(timeout=LIMIT)
        self.assertIn(program.returncode, (DONE, INCOMPLETE))

    def test_a_limit_of_the_size_ends_it_with_a_whole_line(self):
        done = subprocess.run(["bash", "-c", 'ulimit -f 50; exec "$@"', "bash", PROGRAM, "record", str(self.file)],
                              capture_output=True, text=True, check=False, timeout=LIMIT, env=ENVIRONMENT)
        self.assertEqual((done.returncode, done.stderr),
                         (NOT_DONE, f"gravimon-log: {self.file}: cannot be written: File too large; the rows until then are "
                                    "in the file\n"))
        self.assertEqual(self.summary(done.stdout)[0], len(self.rows()))

    def test_the_removal_of_the_file_ends_it(self):
        program = self.start()
        self.wait_for_rows(program, 100)
        self.file.unlink()
        output, errors = program.communicate(timeout=LIMIT)
        self.summary(output)
        self.assertEqual((program.returncode, errors),
                         (NOT_DONE, f"gravimon-log: {self.file}: was removed while it was written; the rows are lost\n"))
        self.assertFalse(self.file.exists())

    def test_output_that_cannot_be_shown_does_not_harm_the_file(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            program = subprocess.run([PROGRAM, "record", str(self.file), "--seconds", "0.5"], stdout=full, check=False,
                                     timeout=LIMIT, env=ENVIRONMENT)
        self.assertIn(program.returncode, (DONE, INCOMPLETE))
        self.assertTrue(self.rows())  # however few the machine had time for

    def test_what_nobody_can_read_is_not_in_the_file(self):
        strange = {"OM_TIV_CONTROL": "/dev/null/x.sock"}
        self.assertRegex(run("record", self.file, "--seconds", 0.3, **strange).stderr, r"\Aom_tiv: no control socket: ")
        for closed in ((0,), (1,), (2,), (0, 1, 2)):
            self.file.unlink()

            def close(numbers=closed):
                for number in numbers:
                    os.close(number)

            done = run("record", self.file, "--seconds", 0.3, before=close, **strange)
            self.assertIn(done.returncode, (DONE, INCOMPLETE))
            self.assertTrue(self.rows())

    def shown_on_a_terminal(self, columns):
        """What a recording of four seconds writes to a terminal of this width."""
        control, terminal = pty.openpty()
        self.addCleanup(os.close, control)
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        program = subprocess.Popen([PROGRAM, "record", str(self.file), "--seconds", "4"], stdout=terminal, env=ENVIRONMENT)
        self.addCleanup(program.kill)
        os.close(terminal)
        shown = b""
        try:
            while block := os.read(control, 4096):
                shown += block
        except OSError:
            pass  # the other end is closed
        program.wait(timeout=LIMIT)
        return shown.decode()

    def test_progress_is_shown_on_a_terminal_only(self):
        self.assertRegex(self.shown_on_a_terminal(80), r"\r\x1b\[K00:00:0\d  \d+ rows  \d+\.\d Hz  (no gaps|\d+ gaps?)")
        self.assertNotIn("\r", run("record", self.folder / "b.csv", "--seconds", "1").stdout)

    def test_progress_stays_within_one_line_of_a_narrow_terminal(self):
        shown = self.shown_on_a_terminal(20)
        progress = [text.split("\r")[0] for text in shown.split("\x1b[K")[1:-1]]
        self.assertTrue(progress, shown)
        for text in progress:
            self.assertRegex(text, r"\A00:00:0\d  \d+ row")
            self.assertEqual(len(text), 19)

    def test_sensors_choose_the_columns(self):
        run("record", self.file, "--seconds", "0.1", "--sensors", "gyroscope,barometer")
        header = self.file.read_text(encoding="ascii").split("\n")[0]
        self.assertEqual(header, "idx,imu_Timestamp[sec],baro_Timestamp[sec],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],"
                                 "press[hPa],rel_alt[m],")

    def test_each_sensor_has_its_columns(self):
        for sensor, columns in (
                ("accelerometer", "accX[m/s^2],accY[m/s^2],accZ[m/s^2],"),
                ("gyroscope", "gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],"),
                ("magnetometer", "magX[uT],magY[uT],magZ[uT],"),
                ("orientation", "orX[deg],orY[deg],orZ[deg],"),
                ("barometer", "press[hPa],rel_alt[m],"),
                ("movement", "moving, "),
                ("temperatures", "temp_left[C],temp_right[C],temp_imu[C],temp_barom[C],")):
            done = run("record", self.file, "--seconds", "0.1", "--sensors", sensor)
            self.assertEqual(done.stderr, "", sensor)
            header = self.file.read_text(encoding="ascii").split("\n")[0]
            self.assertEqual(re.sub(r"\A(idx|\w+_Timestamp\[sec\]|,)*", "", header), columns)
            self.file.unlink()

    def test_the_options_of_the_main_program_do_not_matter(self):
        settings = pathlib.Path(os.environ["HOME"]) / ".config" / "Ombrelux"
        settings.mkdir(parents=True, exist_ok=True)
        (settings / "TIVSensorData.conf").write_text("[General]\naccelerometer=false\ntemperatures=false\n", encoding="ascii")
        run("record", self.file, "--seconds", "0.1")
        self.assertEqual(self.file.read_text(encoding="ascii").split("\n")[0].count(","), 23)

    def test_two_recordings_do_not_share_a_file(self):
        first = self.start()
        self.wait_for_rows(first, 10)
        second = run("record", self.file)
        self.assertEqual((second.returncode, second.stderr),
                         (NOT_DONE, f"gravimon-log: {self.file}: exists already: choose another name or remove it\n"))
        first.send_signal(signal.SIGINT)
        first.communicate(timeout=LIMIT)
        self.rows()

    def test_a_camera_that_is_not_there_leaves_no_file(self):
        done = run("record", self.file, "--serial", 5)
        self.assertEqual(done.returncode, NOT_DONE)
        self.assertRegex(done.stderr, r"\Agravimon-log: no camera with serial number 5; there are 31415926 \(TIV_Q\), [^\n]*\n\Z")
        self.assertFalse(self.file.exists())

    def test_a_camera_that_plays_a_recording_is_recorded(self):
        played = self.folder / "played.csv"
        run("record", played, "--seconds", 3)
        bench = self.bench({"model": "TIV_Q", "serialNumber": 1, "replay": str(played)}, {"model": "TIV_P", "serialNumber": 2})
        for serial in (1, 2):
            done = run("record", self.file, "--serial", serial, "--seconds", 1.5, OM_TIV_BENCH=bench)
            self.assertIn(done.returncode, (DONE, INCOMPLETE), done.stderr)
            self.assertEqual(self.summary(done.stdout)[0], len(self.rows()))
            self.file.unlink()

    def test_a_wait_for_a_camera_is_announced_and_can_be_ended(self):
        program = self.start(bench=[])
        self.assertEqual(program.stderr.readline(), "gravimon-log: no camera yet; waiting up to 10 s for it\n")
        program.send_signal(signal.SIGINT)
        output, errors = program.communicate(timeout=LIMIT)
        self.assertEqual((program.returncode, output, errors),
                         (NOT_DONE, "", "gravimon-log: no camera with sensors is connected\n"))
        self.assertFalse(self.file.exists())


class Report(Case):

    def test_verdicts_that_nobody_can_read_are_no_report(self):
        run("record", self.file, "--seconds", "0.5")
        with open("/dev/full", "w", encoding="ascii") as full:
            done = subprocess.run([PROGRAM, "report", self.file], stdout=full, stderr=subprocess.PIPE, text=True, check=False,
                                  timeout=LIMIT)
        self.assertEqual((done.returncode, done.stderr),
                         (NOT_DONE, "gravimon-log: the verdicts cannot be written to standard output\n"))

        done = run("report", self.file, before=lambda: os.close(1))
        self.assertEqual((done.returncode, done.stderr),
                         (NOT_DONE, "gravimon-log: the verdicts cannot be written to standard output\n"))

    def test_a_limit_of_the_size_leaves_nothing_behind(self):
        run("record", self.file, "--seconds", "0.5")
        for option in ("--json", "--output"):
            out = self.folder / "out"
            done = subprocess.run(["bash", "-c", 'ulimit -f 1; exec "$@"', "bash", PROGRAM, "report", str(self.file), option,
                                   str(out)], capture_output=True, text=True, check=False, timeout=LIMIT, env=ENVIRONMENT)
            self.assertEqual((done.returncode, done.stdout, done.stderr),
                             (NOT_DONE, "", f"gravimon-log: {out}: cannot be written: File too large\n"))
            self.assertEqual([path.name for path in self.folder.iterdir()], [self.file.name])

    def closed_pipe(self):
        reading, writing = os.pipe()
        os.close(reading)
        self.addCleanup(os.close, writing)
        return writing

    def test_verdicts_for_a_closed_pipe_are_no_report(self):
        run("record", self.file, "--seconds", "0.5")
        done = subprocess.run([PROGRAM, "report", self.file], stdout=self.closed_pipe(), stderr=subprocess.PIPE, text=True,
                              check=False, timeout=LIMIT)
        self.assertEqual((done.returncode, done.stderr),
                         (NOT_DONE, "gravimon-log: the verdicts cannot be written to standard output\n"))

    def test_an_error_for_a_closed_pipe_ends_it_as_any_other(self):
        run("record", self.file, "--seconds", "0.5")
        done = subprocess.run(["bash", "-c", 'ulimit -f 1; exec "$@"', "bash", PROGRAM, "report", str(self.file), "--json",
                               str(self.folder / "out")], stdout=subprocess.PIPE, stderr=self.closed_pipe(), text=True,
                              check=False, timeout=LIMIT)
        self.assertEqual((done.returncode, done.stdout), (NOT_DONE, ""))
        self.assertEqual([path.name for path in self.folder.iterdir()], [self.file.name])

    def test_names_of_files_are_taken_byte_for_byte(self):
        self.file = self.folder / os.fsdecode(b"\xff.csv")
        run("record", self.file, "--seconds", "0.5")
        recorded = self.file.read_bytes()
        for locale in ("C", "C.UTF-8"):
            folder = self.folder / locale / os.fsdecode(b"\xc3\xb6 \xf6")
            folder.mkdir(parents=True)
            files = {f"--{form}": folder / os.fsdecode(name + form.encode())
                     for form, name in (("json", b"\xc3\xa4."), ("yaml", b"\xfe."), ("pdf", b"\xe4."), ("output", b"\xc3("))}
            done = run("report", self.file, *(word for pair in files.items() for word in pair), LC_ALL=locale)
            self.assertEqual((done.returncode in (DONE, INCOMPLETE), done.stderr), (True, ""))
            self.assertEqual(sorted(folder.iterdir()), sorted(files.values()))
            done = run("report", self.file, "--json", folder / os.fsdecode(b"\xe4"), "--yaml",
                       folder / os.fsdecode(b"\xf6"), LC_ALL=locale)
            self.assertEqual(done.stderr, "")
            done = run("report", self.file, "--json", self.file, LC_ALL=locale)
            self.assertEqual(done.returncode, NOT_DONE)
            self.assertIn("would overwrite the recording", done.stderr)
            done = run("report", self.file, "--json", self.folder / os.fsdecode(b"\xfe.csv"), LC_ALL=locale)
            self.assertEqual(done.stderr, "")
        self.assertEqual(self.file.read_bytes(), recorded)


class Convert(Case):

    def test_a_signal_leaves_nothing_behind(self):
        def ended_at_the_start():
            signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])
            os.kill(os.getpid(), signal.SIGTERM)  # waits until the program asks for signals

        numbers = ",".join(["0.123456789"] * 6)
        with self.file.open("w", encoding="ascii") as file:
            file.write("idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],gyroX[deg/s],gyroY[deg/s],gyroZ[deg/s],\n")
            file.writelines(f"{row},{1700000000 + 0.0025 * row:.9f},{numbers},\n" for row in range(60000))
        for form in ("npz", "mcap", "euroc"):
            out = self.folder / form
            done = run("convert", self.file, out, "--to", form, before=ended_at_the_start)
            self.assertEqual((done.returncode, done.stdout, done.stderr),
                             (NOT_DONE, "", f"gravimon-log: {out}: interrupted; the output was removed\n"))
            self.assertEqual([path.name for path in self.folder.iterdir()], [self.file.name])


class Names(Case):

    STRANGE = "a\n\x1b[31m\u202e"
    SHOWN = "a  [31m "

    def test_no_message_has_control_characters_of_a_name(self):
        there = self.folder / (self.STRANGE + ".csv")
        done = run("record", there, "--seconds", "0.2")
        self.assertIn(done.returncode, (DONE, INCOMPLETE))
        self.assertRegex(done.stdout, rf"\A{re.escape(str(self.folder / self.SHOWN))}\.csv: [^\n\x1b]*\n\Z")
        missing = self.folder / (self.STRANGE + "b")
        out = self.folder / (self.STRANGE + ".npz")
        self.assertEqual(run("convert", there, out, "--to", "npz").stdout.count("\n"), 1)
        for arguments in (("record", there), ("report", missing), ("convert", missing, self.folder / "c", "--to", "npz"),
                          ("convert", there, out, "--to", "npz"), ("record", "a", self.STRANGE), (self.STRANGE,)):
            done = run(*arguments)
            self.assertIn(done.returncode, (NOT_DONE, USAGE), arguments)
            self.assertRegex(done.stderr, r"\Agravimon-log: [^\n\x1b\u202e]*\n\Z")
            self.assertIn(self.SHOWN, done.stderr)


class CommandLine(Case):

    def wrong(self, reason, *arguments):
        done = run(*arguments)
        self.assertEqual((done.returncode, done.stdout), (USAGE, ""))
        self.assertRegex(done.stderr, r"\Agravimon-log: " + reason + r"[^\n]*; see gravimon-log [^\n]*--help\n\Z")

    def test_wrong_usage_is_one_line(self):
        self.wrong("a verb is missing; there are record, ")
        self.wrong('no verb "fly"; there are record, ', "fly")
        self.wrong("FILE is required", "record")
        self.wrong("FILE: must not be empty", "record", "")
        self.wrong('"b" is not expected', "record", "a", "b")
        self.wrong('"--fast" is not expected', "record", "a", "--fast")
        for text in ("", "-1", "x", "4294967296", "1.5"):
            self.wrong(f'--serial: must be a whole number from 0 to 4294967295, not "{text}"', "record", "a", "--serial", text)
        for text in ("0", "-1", "x", "nan", "inf", "1e10", ""):
            self.wrong(f'--seconds: must be a number of seconds above 0, not "{text}"', "record", "a", "--seconds", text)
        self.wrong("--sensors: smell not in ", "record", "a", "--sensors", "gyroscope,smell")
        self.wrong("OUT is required", "convert", "a", "--to", "npz")
        self.wrong("--to is required", "convert", "a", "b")
        self.wrong("--to: csv not in ", "convert", "a", "b", "--to", "csv")
        self.wrong("--axes: moon not in ", "convert", "a", "b", "--to", "npz", "--axes", "moon")
        self.wrong("FILE is required", "report")
        self.wrong("FILE: must not be empty", "report", "")
        for option in ("--output", "--json", "--pdf", "--yaml"):
            self.wrong(f"{option}: must not be empty", "report", "a", option, "")
        for text in ("0", "1e6", "nan", "400,0", ""):
            self.wrong(f'--sensor-rate: must be a number from 1 to 100000, not "{text}"', "report", "a", "--sensor-rate", text)
        self.wrong('--gravity: must be a number from 9.7 to 9.9, not "5"', "report", "a", "--gravity", "5")

    def test_the_help_of_a_verb_has_its_own_exit_statuses(self):
        for verb, statuses in (("record", "0 recorded, 1 not done, 2 wrong usage, 3 recorded, but samples are missing or over "
                                    "0.1 % of the times step back."),
                               ("report", "0 "), ("convert", "0 converted, ")):
            help_text = " ".join(run(verb, "--help").stdout.split())
            self.assertIn(f" Exit status: {statuses}", help_text)
            self.assertNotIn("Exit status: 0 done", help_text)

    def test_limits_of_numbers_are_allowed(self):
        self.file.touch()
        for arguments in (("record", self.file, "--seconds", "1e9"), ("record", self.file, "--serial", "4294967295"),
                          *(("report", self.file, "--sensor-rate", rate) for rate in ("1", "100000")),
                          *(("report", self.file, "--gravity", gravity) for gravity in ("9.7", "9.9"))):
            done = run(*arguments)
            self.assertEqual(done.returncode, NOT_DONE)
            self.assertRegex(done.stderr, "exists already|is empty")

    def test_manual_and_completion_know_verbs_and_options(self):
        manual = (PACKAGING / "man" / "gravimon-log.1").read_text(encoding="utf-8").replace("\\-", "-")
        for verb in ("record", "report", "convert"):
            shown = run(verb, "--help").stdout
            options = re.findall(r"(?m)^  (?:-\w,)?(--[a-z-]+)", shown)
            self.assertGreater(len(options), 2)
            self.assertEqual(self.offered(verb, "--"), [option for option in options if option != "--help"] + ["--help"])
            for option in options:
                self.assertIn(option, manual)
        self.assertEqual(self.offered(""), ["record", "report", "convert", "--help", "--version"])
        self.assertEqual(self.offered("record", "a.csv", "--sensors", ""), SENSORS)
        self.assertEqual(self.offered("record", "a.csv", "--sensors", "gyroscope,b"), ["gyroscope,barometer"])
        self.assertEqual(self.offered("convert", "--to", ""), ["mcap", "euroc", "npz"])
        self.assertEqual(self.offered("convert", ""), ["a-file"])

    def offered(self, *words):
        """What is offered behind these words; the last one is being typed."""
        script = f"""
            _init_completion() {{ words=("${{COMP_WORDS[@]}}"); cword=$COMP_CWORD; cur=${{words[cword]}}
                                  prev=${{words[cword - 1]}}; }}
            _filedir() {{ COMPREPLY=(a-file); }}
            source {PACKAGING / "completion" / "gravimon-log"}
            COMP_WORDS=(gravimon-log "$@"); COMP_CWORD=$#
            _gravimon_log
            printf '%s\\n' "${{COMPREPLY[@]}}" """
        done = subprocess.run(["bash", "-c", script, "bash", *words], capture_output=True, text=True, check=False,
                              timeout=LIMIT)
        self.assertEqual((done.returncode, done.stderr), (0, ""), words)
        return done.stdout.split("\n")[:-1]


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
