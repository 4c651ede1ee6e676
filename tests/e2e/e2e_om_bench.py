"""Each command of om-bench with the built program: the program's reaction, exit status and error line.

Also other clients of the control socket, which send garbage, half a line, megabytes or nothing.
"""

import json
import math
import os
import pathlib
import re
import resource
import signal
import socket
import stat
import struct
import subprocess
import tempfile
import threading
import zlib

import calibration_control as calibration
import livefile
import screen
import world
from screen import Picture
from waiting import PATIENCE, SCALE, wait_for
from world import TIV_N, TIV_P, TIV_Q, camera

EEPROM_ACTIONS = ("show", "dump", "erase")
DONE, REFUSED, USAGE, NO_BENCH, PROBLEMS = 0, 1, 2, 3, 4
INVALID_ANSWER = "invalid answer: the program has another version, or is not a bench"
COMMANDS = ("list", "add", "remove", "plug", "unplug", "motion", "pose", "field", "disturbance", "temperature",
            "firmware", "fault", "eeprom", "watch", "generate")
FAULTS = ("openResult", "openRefusals", "openDelay", "grabFailures", "grabFailureResult", "frozenTimestamps",
          "repeatedTimestamps", "barometerAbsent", "magnetometerAbsent", "boardTemperaturesAbsent",
          "imuTemperatureAbsent", "magnetometerSaturated", "magneticDisturbance", "littleGpuMemory", "mcuSilent",
          "mcuOpenRefused", "eepromWriteRefused", "eepromReadbackDiffers")


def om_bench(*arguments, control="off", environment=None):
    """Exit status, standard output and standard error of om-bench."""
    done = subprocess.run([str(world.bin_dir / "om-bench"), *map(str, arguments)], capture_output=True, text=True,
                          timeout=PATIENCE * SCALE, check=False,
                          env={**os.environ, "OM_TIV_CONTROL": str(control), **(environment or {})})
    return done.returncode, done.stdout, done.stderr


class OmBenchTest(world.EndToEndTest):

    def ask(self, *arguments):
        """The output of a successful command, with nothing on standard error."""
        status, output, errors = om_bench(*arguments, control=self.program.control)
        self.assertEqual((status, errors), (DONE, ""), arguments)
        return output

    def refused(self, reason, *arguments):
        """The command is refused with one line that holds the reason."""
        status, output, errors = om_bench(*arguments, control=self.program.control)
        self.assertEqual((status, output), (REFUSED, ""), arguments)
        self.assertRegex(errors, r"\Aom-bench: [^\n]*" + reason + r"[^\n]*\n\Z")

    def begin(self, *arguments, **keywords):
        self.program = self.start_streaming(*arguments, **keywords)
        return self.program


class WithoutAProgram(world.EndToEndTest):

    def test_help_lists_every_command(self):
        status, output, errors = om_bench("--help")
        self.assertEqual((status, errors), (DONE, ""))
        for command in COMMANDS:
            self.assertRegex(output, rf"(?m)^ +{command} ")
            status, own, errors = om_bench(command, "--help")
            self.assertEqual((status, errors), (DONE, ""), command)
            self.assertIn(f"om-bench {command}", own)
        status, output, errors = om_bench("--version")
        self.assertEqual((status, errors), (DONE, ""))
        self.assertRegex(output, r"\Aom-bench \d+\.\d+\.\d+(\+\d+\.g[0-9a-f]+)?\n\Z")

    def wrong(self, reason, *arguments):
        """One line with the reason, and a status of its own."""
        status, output, errors = om_bench(*arguments)
        self.assertEqual((status, output), (USAGE, ""), arguments)
        command = " ".join(["om-bench", *(str(a) for a in arguments[:2] if a in COMMANDS or a in EEPROM_ACTIONS)])
        self.assertEqual(errors, f"om-bench: {reason}; see {command} --help\n")

    def test_unknown_commands_and_options_are_named(self):
        commands = "there are " + ", ".join(COMMANDS)
        self.wrong(f"a command is missing; {commands}")
        self.wrong(f"a command is missing; {commands}", "--json")
        self.wrong(f'no command "fly"; {commands}', "fly")
        self.wrong(f'no command ""; {commands}', "")
        self.wrong(f'no command "a [2J b"; {commands}', "a\x1b[2J\nb")
        self.wrong("a command is missing; there are show, dump, erase", "eeprom")
        self.wrong('no command "burn"; there are show, dump, erase', "eeprom", "burn", TIV_Q)
        self.wrong('"--fast" is not expected', "list", "--fast")
        self.wrong('"-inf" is not expected', "pose", TIV_Q, "-inf", 0, 0)
        self.wrong("--socket: must not be empty", "list", "--socket", "")

    def test_arguments_missing_or_too_many_are_reported(self):
        needed = {"add": "MODEL", "motion": "SERIAL", "pose": "SERIAL", "disturbance": "SERIAL", "remove": "SERIAL",
                  "plug": "SERIAL", "unplug": "SERIAL", "temperature": "SERIAL", "firmware": "SERIAL", "fault": "SERIAL",
                  "generate": "BENCH"}
        for command, argument in needed.items():
            self.wrong(f"{argument} is required", command)
        for action in EEPROM_ACTIONS:
            self.wrong("SERIAL is required", "eeprom", action)
        self.wrong("SERIAL is required", "add", "TIV_Q")
        self.wrong("MOTION is required", "motion", TIV_Q)
        self.wrong("HEADING is required", "pose", TIV_Q)
        self.wrong("ROLL is required", "pose", TIV_Q, 1, 2)
        self.wrong("STRENGTH is required", "disturbance", TIV_Q)
        self.wrong("FILE is required", "eeprom", "dump", TIV_Q)
        three = "field: takes strength, inclination and declination, or nothing"
        self.wrong(three, "field", 50)
        self.wrong(three, "field", 50, 60)
        for arguments in (("list",), ("add", "TIV_Q", 1), ("remove", 1), ("plug", 1), ("unplug", 1), ("motion", 1, "fall"),
                          ("pose", 1, 0, 0, 0), ("field", 1, 2, 3), ("disturbance", 1, 0), ("temperature", 1, 20),
                          ("firmware", 1, 1200), ("fault", 1, "mcuSilent", "on"), ("eeprom", "show", 1),
                          ("eeprom", "dump", 1, "x"), ("eeprom", "erase", 1), ("watch", 1)):
            self.wrong('"more" is not expected', *arguments, "more")
        self.wrong("none: takes no value", "fault", TIV_Q, "none", "on")
        self.wrong("--once requires --replay", "add", "TIV_Q", 5, "--once")
        for arguments in (("eeprom", "dump", TIV_Q, ""), ("fault", TIV_Q, ""), ("add", "TIV_Q", 5, "--replay", "")):
            name = {"eeprom": "FILE", "fault": "NAME", "add": "--replay"}[arguments[0]]
            self.wrong(f"{name}: must not be empty", *arguments)

    def test_recording_without_a_path_in_a_removed_folder_is_reported_in_one_line(self):
        gone = tempfile.mkdtemp()

        def enter():
            os.chdir(gone)
            os.rmdir(gone)
        done = subprocess.run([world.bin_dir / "om-bench", "add", "TIV", "5", "--replay", "a.csv"], capture_output=True,
                              text=True, check=False, timeout=PATIENCE * SCALE, preexec_fn=enter)
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (USAGE, "", "om-bench: --replay: current folder: No such file or directory; give the whole path; "
                          "see om-bench add --help\n"))

    def test_whole_numbers_are_whole_and_in_range(self):
        for text in ("", " ", "abc", "-1", "1.5", "1e3", "0x10", "4294967296", "99999999999999999999", "3141592é", "nan"):
            reason = f'SERIAL: must be a whole number from 0 to 4294967295, not "{text}"'
            for arguments in (("plug",), ("fault",), ("watch",), ("eeprom", "show"), ("motion",), ("temperature",)):
                self.wrong(reason, *arguments, text)
            self.wrong(reason, "add", "TIV_Q", text)
        for text in ("", "-1", "65536", "1.5", "new"):
            reason = f'must be a whole number from 0 to 65535, not "{text}"'
            self.wrong(f"VERSION: {reason}", "firmware", TIV_Q, text)
            self.wrong(f"--firmware: {reason}", "add", "TIV_Q", 5, "--firmware", text)
        self.wrong('--id: must be a whole number from 0 to 255, not "256"', "add", "TIV_Q", 5, "--id", 256)
        for text in ("-1", "x", "1.5", ""):
            self.wrong(f'--count: must be a whole number from 0 to 1000000000, not "{text}"', "watch", "--count", text)

    def test_numbers_are_finite_numbers(self):
        for text in ("", "nan", "inf", "infinity", "1e400", "1,5", "5 ", "0x1p3", "north", "١٢"):
            reason = f'must be a number, not "{text}"'
            self.wrong(f"HEADING: {reason}", "pose", TIV_Q, text, 0, 0)
            self.wrong(f"PITCH: {reason}", "pose", TIV_Q, 0, text, 0)
            self.wrong(f"ROLL: {reason}", "pose", TIV_Q, 0, 0, text)
            self.wrong(f"--glide: {reason}", "pose", TIV_Q, 0, 0, 0, "--glide", text)
            self.wrong(f"--spin: {reason}", "pose", TIV_Q, 0, 0, 0, "--spin", 0, text, 0)
            self.wrong(f"STRENGTH: {reason}", "field", text, 0, 0)
            self.wrong(f"INCLINATION: {reason}", "field", 50, text, 0)
            self.wrong(f"DECLINATION: {reason}", "field", 50, 0, text)
            self.wrong(f"STRENGTH: {reason}", "disturbance", TIV_Q, text)
            self.wrong(f"CELSIUS: {reason}", "temperature", TIV_Q, text)
            self.wrong(f"--interval: {reason}", "watch", "--interval", text)
        self.wrong("--interval: Value 0 not in range 0.010000 to 3600.000000", "watch", "--interval", 0)
        self.wrong("--spin: At least 3 required but received 2", "pose", TIV_Q, 0, 0, 0, "--spin", 1, 2)

    def test_manual_and_completion_know_every_option(self):
        packaging = pathlib.Path(__file__).resolve().parents[2] / "packaging"
        manual = (packaging / "man" / "om-bench.1").read_text(encoding="utf-8").replace("\\-", "-")
        completion = packaging / "completion" / "om-bench"

        def offered(*words):
            """What is offered behind these words; the last one is being typed."""
            script = f"""
                _init_completion() {{ words=("${{COMP_WORDS[@]}}"); cword=$COMP_CWORD; cur=${{words[cword]}}
                                      prev=${{words[cword - 1]}}; }}
                _filedir() {{ COMPREPLY=(a-file); }}
                source {completion}
                COMP_WORDS=(om-bench "$@"); COMP_CWORD=$#
                _om_bench
                printf '%s\\n' "${{COMPREPLY[@]}}" """
            done = subprocess.run(["bash", "-c", script, "bash", *words], capture_output=True, text=True, check=False,
                                  timeout=PATIENCE * SCALE, env={**os.environ, "OM_TIV_CONTROL": "off",
                                                                 "PATH": f"{world.bin_dir}:{os.environ['PATH']}"})
            self.assertEqual((done.returncode, done.stderr), (0, ""), words)
            return done.stdout.split("\n")[:-1]

        self.assertEqual(offered(""), [*COMMANDS, "--socket", "--json", "--help", "--version"])
        for command in COMMANDS:
            options = set(re.findall(r"(?m)^  (?:-\w,)?(--[a-z]+)", om_bench(command, "--help")[1]))
            for option in options | {"--socket", "--json"}:
                self.assertIn(option, manual, command)
                self.assertIn(option, offered(command, "--"), command)
            self.assertEqual(set(offered(command, "--")), options | {"--socket", "--json"}, command)
        self.assertEqual(offered("add", ""), ["TIV", "TIV_N", "TIV_P", "TIV_Q", "TIV_R", "TIV_S"])
        self.assertEqual(offered("motion", "31415926", ""), ["at\\ rest", "hand-held", "tumble", "fall", "posed"])
        self.assertEqual(offered("add", "TIV_Q", "5", "--motion", "f"), ["fall"])
        self.assertEqual(offered("eeprom", ""), list(EEPROM_ACTIONS))
        self.assertEqual(offered("eeprom", "dump", "31415926", ""), ["a-file"])
        self.assertEqual(offered("add", "TIV_Q", "5", "--replay", ""), ["a-file"])
        self.assertEqual(offered("--socket", "x", "fault", "31415926", "mcuSilent", "o"), ["on", "off"])

    def test_completion_asks_the_bench_of_the_given_socket(self):
        packaging = pathlib.Path(__file__).resolve().parents[2] / "packaging"
        program = self.start(bench=[world.camera("TIV_P", 20000001)])
        wait_for("the bench", program.control.exists)
        script = f"""
            _init_completion() {{ words=("${{COMP_WORDS[@]}}"); cword=$COMP_CWORD; cur=${{words[cword]}}
                                  prev=${{words[cword - 1]}}; }}
            source {packaging / "completion" / "om-bench"}
            COMP_WORDS=(om-bench "$@"); COMP_CWORD=$#
            _om_bench
            printf '%s\\n' "${{COMPREPLY[@]}}" """
        for option in (["--socket", str(program.control)], [f"--socket={program.control}"]):
            done = subprocess.run(["bash", "-c", script, "bash", *option, "plug", ""],
                                  capture_output=True, text=True, check=True, timeout=PATIENCE * SCALE,
                                  env={**os.environ, "OM_TIV_CONTROL": "off",
                                       "PATH": f"{world.bin_dir}:{os.environ['PATH']}"})
            self.assertEqual(done.stdout.split(), ["20000001"], option)

    def test_nothing_runs_is_said_in_one_line(self):
        home = os.environ["HOME"]
        for command in (("list",), ("plug", TIV_Q), ("watch",)):
            status, output, errors = om_bench(*command, control="", environment={"XDG_RUNTIME_DIR": home})
            self.assertEqual((status, output), (NO_BENCH, ""))
            self.assertRegex(errors, r"\Aom-bench: no running bench[^\n]*\n\Z")
        status, output, errors = om_bench("--socket", f"{home}/none.sock", "list")
        self.assertEqual((status, output), (NO_BENCH, ""))
        self.assertRegex(errors, r"\Aom-bench: [^\n]*none.sock: No such file or directory\n\Z")

    def answered(self, answer, *arguments):
        """The reaction of om-bench to an answer that is not from a bench."""
        path = f"{os.environ['HOME']}/peer.sock"
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(path)
            listener.listen(1)

            def give():
                peer, _ = listener.accept()
                with peer:
                    peer.recv(65536)
                    peer.sendall(answer.encode() + b"\n")
                    peer.recv(1)
            # A listener that nobody comes to, or a peer that stays, ends with the process.
            thread = threading.Thread(target=give, daemon=True)
            thread.start()
            try:
                return om_bench("--socket", path, *arguments)
            finally:
                thread.join(PATIENCE * SCALE)
                os.unlink(path)

    def test_answer_of_another_shape_is_reported_in_one_line(self):
        strange = (NO_BENCH, "", f"om-bench: {INVALID_ANSWER}\n")
        truth = {"field": [1, 2, 3], "specificForce": [1, 2, 3], "angularVelocity": [1, 2, 3], "heading": 1}
        sound = {"serialNumber": 1, "id": 0, "model": "TIV", "state": "open", "motion": "fall", "faults": {},
                 "samplesProduced": 1, "samplesRead": 1, "truth": truth, "reading": None}
        for change in ({"serialNumber": -1}, {"serialNumber": 1e300}, {"model": 7}, {"faults": 3}, {"samplesRead": "x"},
                       {"id": None}, {"state": []}):
            self.assertEqual(self.answered(json.dumps({"ok": True, "cameras": [sound, {**sound, **change}]}), "list"),
                             strange, change)
        for change in ({"truth": 5}, {"truth": {**truth, "field": [1, "x", 3]}}, {"truth": {**truth, "field": [1]}},
                       {"reading": 1}, {"truth": {**truth, "heading": None}}):
            answer = json.dumps({"ok": True, "cameras": [sound, {**sound, **change}]})
            self.assertEqual(self.answered(answer, "watch", "--count", 1), strange, change)
        for answer in ('{"ok": "yes"}', '{"ok": false, "error": 7}', '{"ok": true, "cameras": 5}', "[]", "", "nonsense",
                       '{"ok": true, "cameras": null}', '{"ok": true, "cameras": [{}]}', '{"ok": true, "scale": 1}', '{"ok": true, "faults": "' + "x\x01"):
            self.assertEqual(self.answered(answer, "list"), strange, answer)
        self.assertEqual(self.answered('{"ok": true}', "watch"), strange)
        self.assertEqual(self.answered('{"ok": true}', "eeprom", "dump", 1, f"{os.environ['HOME']}/image"), strange)

    def test_every_bench_is_listed_whatever_another_one_answers(self):
        truth = {"field": [1, 2, 3], "specificForce": [1, 2, 3], "angularVelocity": [1, 2, 3], "heading": 1}
        sound = {"serialNumber": 7, "id": 0, "model": "TIV", "state": "open", "motion": "fall", "faults": {},
                 "samplesProduced": 1, "samplesRead": 1, "truth": truth, "reading": None}
        answers = {1: {"ok": True, "cameras": 5}, 2: {"ok": False, "error": "no"}, 3: {"ok": False, "error": 7},
                   4: {"ok": True, "cameras": [sound]}, 5: {"ok": True, "cameras": [], "complaints": 5},
                   6: {"ok": True, "cameras": [], "complaints": ["wrong"]}}

        def serve(listener, answer):
            while True:
                peer, _ = listener.accept()
                with peer:
                    if peer.recv(65536):
                        peer.sendall(json.dumps(answer).encode() + b"\n")
        with tempfile.TemporaryDirectory() as runtime:
            folder = f"{runtime}/gravimon"
            os.mkdir(folder)
            for number, answer in answers.items():
                listener = socket.socket(socket.AF_UNIX)
                listener.bind(f"{folder}/bench-{number}.sock")
                listener.listen(5)
                # They end with the process.
                threading.Thread(target=serve, args=(listener, answer), daemon=True).start()
            status, output, errors = om_bench("list", "--all", environment={"XDG_RUNTIME_DIR": runtime})
        self.assertEqual(errors.splitlines(), [f"om-bench: {folder}/bench-1.sock: {INVALID_ANSWER}",
                                               f"om-bench: {folder}/bench-2.sock: no",
                                               f"om-bench: {folder}/bench-3.sock: {INVALID_ANSWER}",
                                               f"om-bench: {folder}/bench-5.sock: {INVALID_ANSWER}",
                                               "om-bench: wrong"])
        self.assertEqual([line.split()[0] for line in output.split("\n\n")[0].splitlines()],
                         [f"{folder}/bench-4.sock", "SERIAL", "7"])
        self.assertEqual(status, NO_BENCH)

    def test_nothing_that_a_terminal_would_act_upon_is_printed(self):
        wild = "a\x1b[2J\x9b2J\u202eb\u2066\u2028\x7f"
        tame = "a [2J 2J b   "
        self.assertEqual(self.answered(json.dumps({"ok": False, "error": wild}), "list"), (REFUSED, "", f"om-bench: {tame}\n"))
        for answer, arguments in (({"faults": {wild: wild}}, ("fault", 1)), ({"temperature": wild}, ("temperature", 1)),
                                  ({"firmware": wild}, ("firmware", 1))):
            for text in (json.dumps(answer), json.dumps(answer, ensure_ascii=False).replace("\x1b", "\\u001b")):
                status, output, errors = self.answered('{"ok": true, ' + text[1:], *arguments)
                self.assertEqual((status, errors), (DONE, ""))
                self.assertFalse(set(output.rstrip("\n")) & set("\x1b\x9b\u202e\u2066\u2028\x7f\n"), output)
                status, output, errors = self.answered('{"ok": true, ' + text[1:], "--json", *arguments)
                self.assertEqual((status, errors), (DONE, ""))
                self.assertTrue(output.isascii() and all(c == "\n" or c.isprintable() for c in output), output)
                self.assertEqual(json.loads(output), {"ok": True, **answer})

    def test_only_a_sound_image_of_the_camera_is_dumped(self):
        file = pathlib.Path(os.environ["HOME"], "image")
        content = b"GVEE" + struct.pack("<III6f", 1, 28, 7, 1, 1, 1, 0, 0, 0)
        image = content + struct.pack("<I", zlib.crc32(content))
        for bytes_, serial, reason in ((b"#!/bin/sh\nrm -rf ~\n", 7, "byte 0: not an EEPROM image"),
                                       (image[:-1] + b"x", 7, "byte 40: checksum "),
                                       (image + b"more", 7, "byte 44: the file has 48 bytes"),
                                       (image, 8, "byte 12: the image of serial number 7")):
            answer = json.dumps({"ok": True, "image": bytes_.hex(), "path": "x"})
            status, output, errors = self.answered(answer, "eeprom", "dump", serial, file)
            self.assertEqual((status, output), (REFUSED, ""))
            self.assertRegex(errors, rf"\Aom-bench: the image from the bench is damaged: {reason}[^\n]*\n\Z")
            self.assertFalse(file.exists())
        answer = json.dumps({"ok": True, "image": image.hex(), "path": "x"})
        self.assertEqual(self.answered(answer, "eeprom", "dump", 7, file), (DONE, "", ""))
        self.assertEqual(file.read_bytes(), image)
        # A dump takes the place of a former one as a whole.
        file.write_bytes(b"former")
        before = resource.getrlimit(resource.RLIMIT_FSIZE)
        resource.setrlimit(resource.RLIMIT_FSIZE, (10, before[1]))
        try:
            result = self.answered(answer, "eeprom", "dump", 7, file)
        finally:
            resource.setrlimit(resource.RLIMIT_FSIZE, before)
        self.assertEqual(result, (REFUSED, "", f"om-bench: {file}: cannot be written: File too large\n"))
        self.assertEqual(file.read_bytes(), b"former")
        self.assertEqual(list(file.parent.glob("image*")), [file])
        self.assertEqual(self.answered(answer, "eeprom", "dump", 7, file), (DONE, "", ""))
        self.assertEqual(file.read_bytes(), image)

    def test_generation_leaves_an_ignored_signal_ignored(self):
        file = pathlib.Path(os.environ["HOME"], "generated.csv")
        bench = pathlib.Path(__file__).parents[2] / "docs" / "bench" / "imu-good.json"
        with subprocess.Popen([world.bin_dir / "om-bench", "generate", bench, "--hours", "100", "-o", file], text=True,
                              stderr=subprocess.PIPE,
                              preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN)) as program:
            try:
                wait_for("the first rows", lambda: file.exists() and file.stat().st_size > 0)
                program.send_signal(signal.SIGHUP)
                more = file.stat().st_size + 10_000_000
                wait_for("more rows", lambda: file.stat().st_size > more)
                program.send_signal(signal.SIGTERM)
                _, errors = program.communicate(timeout=PATIENCE * SCALE)
            finally:
                program.kill()
        self.assertEqual((program.returncode, errors), (REFUSED, f"om-bench: {file}: interrupted; the file was removed\n"))
        self.assertFalse(file.exists())

    def test_running_program_is_found(self):
        own = {"OM_TIV_CONTROL": ""}
        first = self.start(environment=own)
        folder = f"{os.environ['XDG_RUNTIME_DIR']}/gravimon"
        path = f"{folder}/bench-{first.pid}.sock"
        wait_for("the socket", lambda: os.path.exists(path))
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)
        self.assertEqual(stat.S_IMODE(os.stat(folder).st_mode), 0o700)
        status, output, errors = om_bench("list", control="")
        self.assertEqual((status, errors), (DONE, ""))
        self.assertIn(str(TIV_Q), output)
        second = self.start(bench=[camera("TIV_N", 20000001)], environment=own)
        other = f"{folder}/bench-{second.pid}.sock"
        wait_for("the second socket", lambda: os.path.exists(other))
        status, output, errors = om_bench("list", control="")
        self.assertEqual((status, output), (NO_BENCH, ""))
        self.assertRegex(errors, r"\Aom-bench: several benches run[^\n]*--socket[^\n]*\n\Z")
        self.assertIn(path, errors)
        self.assertIn(other, errors)
        self.assertIn("20000001", om_bench("--socket", other, "list")[1])
        first.end(signal.SIGKILL)
        # The socket that is left behind is not one of a running program.
        self.assertTrue(os.path.exists(path))
        self.assertIn("20000001", om_bench("list", control="")[1])
        second.end()
        self.assertFalse(os.path.exists(other))
        self.assertEqual(om_bench("list", control="")[0], NO_BENCH)
        os.unlink(path)


class Commands(OmBenchTest):

    def test_list_and_watch_show_what_is_there(self):
        program = self.begin()
        lines = self.ask("list").splitlines()
        self.assertEqual(lines[0].split(), ["SERIAL", "MODEL", "ID", "STATE", "MOTION", "PRODUCED", "READ", "FAULTS"])
        rows = [line.split() for line in lines[1:]]
        self.assertEqual([row[:5] for row in rows],
                         [[str(TIV_Q), "TIV_Q", "0", "streaming", "tumble"], [str(TIV_P), "TIV_P", "1", "plugged", "tumble"],
                          [str(TIV_N), "TIV_N", "2", "plugged", "tumble"]])
        self.assertGreater(int(rows[0][6]), 40)
        self.assertEqual(rows[1][6:], ["0", "-"])
        self.assertEqual([c["serialNumber"] for c in json.loads(self.ask("--json", "list"))["cameras"]],
                         [TIV_Q, TIV_P, TIV_N])

        def samples_come():
            """Whether three looks show more and more of them; on a busy machine the program may stand meanwhile."""
            lines = self.ask("watch", TIV_Q, "--count", 3, "--interval", 0.5).splitlines()
            self.assertEqual([line.split()[:3] for line in lines],
                             3 * [[str(TIV_Q), "streaming", "true"], [str(TIV_Q), "streaming", "read"]])
            read = [int(line.rpartition("samples ")[2].split("/")[0]) for line in lines[1::2]]
            self.assertEqual(read, sorted(read))
            return read[0] < read[1] < read[2]
        wait_for("samples that come while they are watched", samples_come)
        # Two cameras that nobody reads have nothing but what is true of them.
        self.assertEqual([line.split()[:3] for line in self.ask("watch", "--count", 1).splitlines()],
                         [[str(TIV_Q), "streaming", "true"], [str(TIV_Q), "streaming", "read"],
                          [str(TIV_P), "plugged", "true"], [str(TIV_N), "plugged", "true"]])
        status, _, errors = om_bench("watch", 0, "--count", 1, control=program.control)
        self.assertEqual((status, errors), (REFUSED, "om-bench: no camera with serial number 0 on the bench\n"))
        record = json.loads(self.ask("--json", "watch", TIV_P, "--count", 1))
        self.assertEqual(record["state"], "plugged")
        status, _, errors = om_bench("watch", 4711, "--count", 1, control=program.control)
        self.assertEqual((status, errors), (REFUSED, "om-bench: no camera with serial number 4711 on the bench\n"))
        self.close(program)

    def test_watch_shows_what_is_true_and_what_is_read(self):
        program = self.begin(TIV_Q, bench=[camera("TIV_Q", TIV_Q, motion="at rest", hardIron=[100, 0, 0],
                                                  softIron=[1, 1, 1], errors={"accelerationBias": [0, 0, 5]})])
        number = r"-?\d+\.\d+"

        def watched():
            """The figures of the two lines."""
            return [[float(n) for n in re.findall(number, line)]
                    for line in self.ask("watch", TIV_Q, "--count", 1).splitlines()]
        (_, *true), read = watched()
        self.assertEqual((len(true), len(read)), (9, 9))
        for axis, (true_value, seen, error) in enumerate(zip(true, read, (100, 0, 0, 0, 0, 5, 0, 0, 0))):
            self.assertAlmostEqual(seen - true_value, error, delta=1.5, msg=f"figure {axis}")
        # A fault is in what is read, and nothing of it is true.
        self.ask("fault", TIV_Q, "magnetometerSaturated")
        wait_for("the saturated reading", lambda: watched()[1][2] == 2048.0)
        self.assertLess(abs(watched()[0][3]), 100.0)
        self.ask("fault", TIV_Q, "none")
        self.ask("fault", TIV_Q, "magnetometerAbsent")
        wait_for("no reading", lambda: "field uT       -       -       -  acc" in
                 self.ask("watch", TIV_Q, "--count", 1).splitlines()[1])
        self.assertIsNone(program.camera(TIV_Q)["reading"]["field"])
        self.ask("unplug", TIV_Q)
        self.ask("plug", TIV_Q)
        self.close(program)

    def test_options_for_all_commands_stand_before_or_behind(self):
        program = self.begin()
        before = json.loads(self.ask("--json", "field"))
        self.assertEqual(before, json.loads(self.ask("field", "--json")))
        status, output, errors = om_bench("list", "--socket", program.control)
        self.assertEqual((status, errors), (DONE, ""))
        self.assertIn(str(TIV_Q), output)
        with open("/dev/full", "w", encoding="ascii") as full:
            done = subprocess.run([str(world.bin_dir / "om-bench"), "--socket", str(program.control), "list"], stdout=full,
                                  stderr=subprocess.PIPE, text=True, timeout=PATIENCE * SCALE, check=False)
        self.assertEqual((done.returncode, done.stderr), (REFUSED, "om-bench: standard output cannot be written\n"))
        self.close(program)

    def test_cameras_are_added_removed_plugged_and_unplugged(self):
        program = self.begin(20000001, bench=[camera("TIV_Q", 20000001)])
        self.ask("add", "TIV_P", 20000002, "--id", 7, "--firmware", 1300, "--motion", "at rest")
        added = program.camera(20000002)
        self.assertEqual((added["model"], added["id"], added["motion"], added["state"]), ("TIV_P", 7, "at rest", "plugged"))
        self.ask("add", "TIV_N", 20000003, "--unplugged")
        self.assertEqual(program.state(20000003), "unplugged")
        self.refused("20000002 already", "add", "TIV_P", 20000002)
        self.refused("id 7 is already that of 20000002", "add", "TIV_P", 20000004, "--id", 7)
        self.refused("model: must be one of", "add", "TIV_X", 5)
        self.refused("model: must be one of", "add", "", 5)
        self.refused("passwd: not a recording", "add", "TIV_P", 5, "--replay", "/etc/passwd")
        self.refused("motion: must be one of", "add", "TIV_P", 5, "--motion", "dance")
        self.refused("none.csv: cannot be read", "add", "TIV_P", 5, "--replay", "none.csv")
        self.assertEqual(sorted(program.cameras()), [20000001, 20000002, 20000003])

        self.ask("unplug", 20000001)
        program.wait_for_streaming(20000002)
        self.refused("20000001 is not plugged in", "unplug", 20000001)
        self.refused("20000002 is plugged in", "plug", 20000002)
        self.ask("plug", 20000001)
        self.ask("remove", 20000002)
        program.wait_for_streaming(20000001)
        self.ask("plug", 20000003)
        self.ask("remove", 20000001)
        program.wait_for_streaming(20000003)
        self.assertEqual(list(program.cameras()), [20000003])
        for command in (("plug",), ("unplug",), ("remove",), ("fault",), ("eeprom", "show"), ("eeprom", "erase")):
            self.refused("no camera with serial number 4711 on the bench", *command, 4711)
        self.close(program)

    def test_motion_pose_field_and_disturbance_reach_the_values(self):
        program = self.begin()
        live = livefile.LiveFile(program)
        self.assertEqual(live.latest()["moving"], 1.0)
        self.ask("pose", TIV_Q, 0, 0, 90, "--glide", 0.1)
        live.wait_until("gravity along X", lambda r: abs(r["accX[m/s^2]"]) > 9.5 and r["moving"] == 0.0)
        self.ask("pose", TIV_Q, 0, 90, 0)
        live.wait_until("gravity along Z", lambda r: abs(r["accZ[m/s^2]"]) > 9.5)
        self.ask("pose", TIV_Q, 0, 0, 0)
        live.wait_until("gravity along Y", lambda r: r["accY[m/s^2]"] > 9.5 and abs(r["gyroX[deg/s]"]) < 1.0)
        still = Picture.take().crop((420, 120, 800, 300))
        self.ask("pose", TIV_Q, 120, 0, 0)
        wait_for("the camera turns on the screen", lambda: Picture.take().crop((420, 120, 800, 300)) != still)
        live.wait_until("it stands again", lambda r: abs(r["gyroY[deg/s]"]) < 1.0)

        self.ask("motion", TIV_Q, "tumble")
        live.wait_until("it tumbles", lambda r: r["moving"] == 1.0 and abs(r["gyroZ[deg/s]"]) > 20.0)
        self.ask("motion", TIV_Q, "fall")
        live.wait_until("it falls", lambda r: r["moving"] == 2.0)
        self.ask("motion", TIV_Q, "at rest")
        live.wait_until("it rests", lambda r: r["moving"] == 0.0 and abs(r["gyroX[deg/s]"]) < 1.0)
        for word in ("dance", "", "TUMBLE", "Üben"):
            self.refused(f'no motion "{word}"', "motion", TIV_Q, word)
        self.refused('"heading" must be a number from -360.0 to 360.0', "pose", TIV_Q, 361, 0, 0)
        self.refused('"pitch" must be a number from -90.0 to 90.0', "pose", TIV_Q, 0, -91, 0)
        self.refused('"roll" must be a number from -180.0 to 180.0', "pose", TIV_Q, 0, 0, 181)
        self.refused('"glide" must be a number from 0.0 to 600.0', "pose", TIV_Q, 0, 0, 0, "--glide", 601)
        self.refused('"glide" must be a number from 0.0 to 600.0', "pose", TIV_Q, 0, 0, 0, "--glide", -1)

        def strength(row):
            return math.hypot(*(row[f"mag{axis}[uT]"] for axis in "XYZ"))
        self.assertEqual(self.ask("field"), "strength 48.0 uT, inclination 64.0, declination 2.5\n")
        self.ask("field", 300, 0, 0)
        live.wait_until("a strong field", lambda r: strength(r) > 200.0)
        self.assertEqual(self.ask("field"), "strength 300.0 uT, inclination 0.0, declination 0.0\n")
        self.refused('"strength" must be a number from 0.0 to 1000.0', "field", 1001, 0, 0)
        self.refused('"strength" must be a number from 0.0 to 1000.0', "field", -1, 0, 0)
        self.refused('"inclination" must be a number from -90.0 to 90.0', "field", 50, 91, 0)
        self.refused('"declination" must be a number from -180.0 to 180.0', "field", 50, 0, -181)
        self.assertEqual(self.ask("field"), "strength 300.0 uT, inclination 0.0, declination 0.0\n")
        self.ask("field", 0, 0, 0)
        live.wait_until("no field but the hard iron's", lambda r: strength(r) < 45.0)
        self.ask("disturbance", TIV_Q, 900)
        live.wait_until("a disturbed field", lambda r: strength(r) > 300.0)
        self.ask("disturbance", TIV_Q, 0)
        live.wait_until("no field again", lambda r: strength(r) < 45.0)
        self.refused("magneticDisturbance: must be from 0 to 2000", "disturbance", TIV_Q, 2001)
        live.stop()
        self.close(program)

    def test_spin_temperature_and_firmware_reach_the_program(self):
        program = self.begin(TIV_Q, bench=[camera("TIV_Q", TIV_Q, motion="at rest")])
        live = livefile.LiveFile(program)
        self.ask("pose", TIV_Q, 0, 0, 0, "--spin", 0, 45, 0)
        live.wait_until("an even turn", lambda r: abs(r["gyroY[deg/s]"] - 45.0) < 1.0 and abs(r["gyroX[deg/s]"]) < 1.0)
        self.ask("pose", TIV_Q, 0, 0, 0)
        live.wait_until("it stands", lambda r: abs(r["gyroY[deg/s]"]) < 1.0)
        self.refused('"spin" must be 3 numbers', "pose", TIV_Q, 0, 0, 0, "--spin", 0, 1001, 0)

        before = live.latest()["temp_imu[C]"]
        self.assertEqual(self.ask("temperature", TIV_Q), "temperature 20.0\n")
        self.assertEqual(self.ask("temperature", TIV_Q, 80), "temperature 80.0\n")
        live.wait_until("a warmer camera", lambda r: r["temp_imu[C]"] > before + 8.0)
        self.refused('"temperature" must be a number from -40.0 to 85.0', "temperature", TIV_Q, 86)
        self.refused('"temperature" must be a number from -40.0 to 85.0', "temperature", TIV_Q, -41)
        live.stop()

        self.assertEqual(self.ask("firmware", TIV_Q), "firmware 1201\n")
        self.assertEqual(self.ask("firmware", TIV_Q, 1141), "firmware 1141\n")
        self.ask("unplug", TIV_Q)
        self.ask("plug", TIV_Q)
        screen.wait_for_window(program.pid, "Warning")
        for command in ("temperature", "firmware"):
            self.refused("no camera with serial number 4711 on the bench", command, 4711)

    def test_faults_are_shown_set_and_cleared(self):
        program = self.begin()
        self.assertEqual([line.split()[0] for line in self.ask("fault", TIV_Q).splitlines()], sorted(FAULTS))
        self.ask("fault", TIV_Q, "grabFailureResult", 5)
        self.ask("fault", TIV_Q, "barometerAbsent")
        self.ask("fault", TIV_Q, "magneticDisturbance", "12.5")
        shown = dict(line.split() for line in self.ask("fault", TIV_Q).splitlines())
        self.assertEqual((shown["grabFailureResult"], shown["barometerAbsent"], shown["magneticDisturbance"]),
                         ("5", "true", "12.5"))
        self.assertRegex(self.ask("list"), r"barometerAbsent=?\S*,grabFailureResult=5,magneticDisturbance=12.5\n")
        self.ask("fault", TIV_Q, "barometerAbsent", "off")
        self.assertNotIn("barometerAbsent", self.ask("list"))
        self.ask("fault", TIV_Q, "none")
        self.assertEqual(program.camera(TIV_Q)["faults"], {})
        self.refused("faults.gravityAbsent: unknown key", "fault", TIV_Q, "gravityAbsent", "on")
        self.refused("faults.barometerAbsent: must be a boolean, not an integer", "fault", TIV_Q, "barometerAbsent", 1)
        self.refused("faults.grabFailures: must be from 0 to 1000000", "fault", TIV_Q, "grabFailures", -1)
        self.refused("faults.openDelay: must be an integer, not a string", "fault", TIV_Q, "openDelay", "long")
        neutral = json.loads(self.ask("fault", TIV_Q, "--json"))["faults"]
        # Each fault refuses invalid values and stays off.
        for name in FAULTS:
            kind = type(neutral[name])
            self.refused(f"faults.{name}: must be ", "fault", TIV_Q, name, "")
            self.refused(f"faults.{name}: must be ", "fault", TIV_Q, name, "nan")
            self.refused(f"faults.{name}: must be ", "fault", TIV_Q, name, "null")
            if kind is bool:
                self.refused(f"faults.{name}: must be a boolean", "fault", TIV_Q, name, 1)
            else:
                self.refused(f"faults.{name}: must be from ", "fault", TIV_Q, name, -2)
                self.refused(f"faults.{name}: must be from ", "fault", TIV_Q, name, 1000001)
                self.refused(f"faults.{name}: must be ", "fault", TIV_Q, name)
        self.assertEqual(program.camera(TIV_Q)["faults"], {})
        self.close(program)

    def test_eeprom_is_shown_dumped_and_erased(self):
        program = self.begin()
        neutral = "scale 1 1 1\noffset 0 0 0\nneutral yes\n"
        self.assertEqual(self.ask("eeprom", "show", TIV_Q).replace("-0", "0"), neutral)
        image = program.folder / "image"
        self.refused("no image is kept", "eeprom", "dump", TIV_Q, image)
        # What the program stores is there.
        calibration.open_dialog(program)
        calibration.start(program)
        calibration.turn_all_ways(program, TIV_Q)
        calibration.stop(program)
        calibration.press(program, "store")
        calibration.answer(program, calibration.WARNING)
        wait_for("the stored calibration", lambda: "neutral no" in self.ask("eeprom", "show", TIV_Q))
        calibration.leave(program)
        self.ask("eeprom", "dump", TIV_Q, image)
        kept = next((program.folder / "state").glob(f"*{TIV_Q}*"))
        self.assertEqual(image.read_bytes(), kept.read_bytes())
        self.refused("cannot be written", "eeprom", "dump", TIV_Q, program.folder / "none" / "image")
        # What is erased is gone for the program, too: the state is that of a camera never calibrated.
        self.ask("eeprom", "erase", TIV_Q)
        self.assertEqual(self.ask("eeprom", "show", TIV_Q).replace("-0", "0"), neutral)
        program.wait_for_streaming(TIV_Q)
        calibration.open_dialog(program)
        wait_for("both compasses agree", lambda: self.headings_agree(program))
        calibration.leave(program)
        program.wait_for_streaming(TIV_Q)
        self.close(program)

    @staticmethod
    def headings_agree(program):
        """Whether the two heading lines of the calibration look the same."""
        x, y = screen.wait_for_window(program.pid, calibration.DIALOG)[:2]
        picture = Picture.take()
        left, right = (picture.words((x + place, y + 436, 130, 18), screen.LIGHT) for place in (30, 180))
        return left == right and len(left) == 1


class SharedSocket(OmBenchTest):

    def test_second_program_says_that_the_socket_is_taken_and_streams(self):
        program = self.begin()
        second = self.start(environment={"OM_TIV_CONTROL": str(program.control)})
        wait_for("a line on standard error", second.errors)
        self.assertEqual(second.errors(),
                         [f"om_tiv: no control socket: {program.control}: another process serves this socket"])
        screen.wait_for_window(second.pid, "Gravimon")
        # The first one still has it, also when the second has gone.
        self.ask("unplug", TIV_Q)
        self.assertEqual(program.state(TIV_Q), "unplugged")
        program.wait_for_streaming(TIV_P)
        self.assertEqual(second.end(), 0)
        self.assertEqual(program.state(TIV_P), "streaming")
        self.close(program)

    def test_complaints_of_the_bench_are_listed_until_they_are_resolved(self):
        folder = pathlib.Path(tempfile.mkdtemp(dir=os.environ["XDG_RUNTIME_DIR"]))
        state = folder / "state"
        state.write_text("in the way", encoding="ascii")
        program = self.start(bench=[camera("TIV_Q", 20000001)], environment={"OM_TIV_STATE_DIR": str(state)})
        self.program = program
        wait_for("the bench answers", program.control.exists)
        self.ask("list")
        status, _, errors = om_bench("eeprom", "erase", 20000001, control=program.control)
        self.assertEqual(status, REFUSED)
        self.assertIn("\"list\" has the reason", errors)
        status, output, errors = om_bench("list", control=program.control)
        self.assertEqual(status, PROBLEMS)
        self.assertIn("20000001", output)
        line = (f"{state}: File exists; the calibration was not stored: make the folder writable or set "
                "OM_TIV_STATE_DIR, and store it again")
        self.assertEqual(errors, f"om-bench: {line}\n")
        self.assertEqual(json.loads(om_bench("--json", "list", control=program.control)[1])["complaints"], [line])
        self.assertEqual(program.errors(), [f"om_tiv: {line}"])
        state.unlink()
        self.ask("eeprom", "erase", 20000001)
        self.ask("list")
        self.assertEqual(program.end(), 0)

    def test_bench_file_with_a_mistake_is_listed(self):
        program = self.start(bench="{")
        wait_for("the bench answers", program.control.exists)
        status, output, errors = om_bench("list", control=program.control)
        self.assertEqual((status, output.splitlines()[1:]), (PROBLEMS, []))
        self.assertRegex(errors, rf"\Aom-bench: the bench file was not loaded: {program.bench_file}:1: [^\n]+; correct the "
                                 r"file and start the program again\n\Z")
        self.assertEqual(program.end(), 0)

    def test_second_program_prints_its_bench_and_both_are_listed(self):
        own = {"OM_TIV_CONTROL": ""}
        folder = f"{os.environ['XDG_RUNTIME_DIR']}/gravimon"

        def start(serial):
            program = self.start(bench=[camera("TIV_P", serial)], environment=own)
            path = f"{folder}/bench-{program.pid}.sock"
            wait_for("the socket", lambda: os.path.exists(path))
            program.control = pathlib.Path(path)
            program.wait_for_streaming(serial)
            return program, path
        self.assertEqual(om_bench("list", "--all", control="")[0], NO_BENCH)
        first, one = start(20000001)
        self.assertEqual(first.errors(), [])
        second, other = start(20000002)
        self.assertEqual(second.errors(), [f"om_tiv: the bench of this program is {other}; other programs have {one}"])
        status, output, errors = om_bench("list", "--all", control="")
        self.assertEqual((status, errors), (DONE, ""))
        parts = dict(part.split("\n", 1) for part in output.split("\n\n"))
        self.assertEqual(set(parts), {one, other})
        self.assertIn("20000001", parts[one])
        self.assertIn("20000002", parts[other])
        benches = json.loads(om_bench("--json", "list", "--all", control="")[1])["benches"]
        self.assertEqual({b["socket"]: b["cameras"][0]["serialNumber"] for b in benches}, {one: 20000001, other: 20000002})
        self.assertIn("20000002", om_bench("--socket", second.pid, "list", control="")[1])
        self.assertEqual(om_bench("--socket", one, "list", "--all")[0], USAGE)
        # One that does not answer is named, and the other is listed.
        with first.standing_still():
            status, output, errors = om_bench("list", "--all", control="")
        self.assertEqual((status, errors), (NO_BENCH, f"om-bench: {one}: the bench does not answer\n"))
        self.assertEqual([line.split()[0] for line in output.splitlines()], [other, "SERIAL", "20000002"])
        self.assertEqual((first.end(), second.end()), (0, 0))

    def test_socket_of_a_killed_program_is_taken_over(self):
        first = self.start_streaming()
        first.end(signal.SIGKILL)
        self.assertTrue(first.control.exists())
        status, output, errors = om_bench("list", control=first.control)
        self.assertEqual((status, output, errors), (NO_BENCH, "", f"om-bench: {first.control}: Connection refused\n"))
        self.program = program = self.start(environment={"OM_TIV_CONTROL": str(first.control)})
        program.control = first.control
        program.wait_for_streaming(TIV_Q)
        self.assertIn("streaming", self.ask("list"))
        self.close(program)
        self.assertFalse(first.control.exists())

    def test_program_that_stands_still_is_reported_in_one_line(self):
        program = self.begin()
        with program.standing_still():
            status, output, errors = om_bench("list", control=program.control)
        self.assertEqual((status, output, errors), (NO_BENCH, "", "om-bench: the bench does not answer\n"))
        self.ask("list")
        self.close(program)

    def test_place_that_takes_no_socket_is_reported_in_one_line(self):
        for place, reason in (("/proc/gravimon/bench.sock", "/proc/gravimon: "), ("/etc/passwd", "/etc/passwd: there is "
                              "something that is not a socket"), ("/tmp/" + 120 * "x", "the path is longer than")):
            with self.subTest(place):
                program = self.start(environment={"OM_TIV_CONTROL": place})
                wait_for("a line on standard error", program.errors)
                screen.wait_for_window(program.pid, "Gravimon")
                self.assertEqual(program.end(), 0)
                self.assertEqual(len(program.errors()), 1, program.errors())
                self.assertIn(reason, program.errors()[0])


class HostileClients(OmBenchTest):

    def connect(self):
        client = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        client.settimeout(PATIENCE * SCALE)
        client.connect(str(self.program.control))
        self.addCleanup(client.close)
        return client

    @staticmethod
    def line(client):
        return client.makefile("rb").readline()

    def still_serves(self):
        before = self.program.samples_read(TIV_Q)
        wait_for("the stream goes on", lambda: self.program.samples_read(TIV_Q) > before + 100)

    def test_garbage_half_lines_megabytes_and_silence_are_borne(self):
        program = self.begin()
        silent = [self.connect() for _ in range(3)]  # after one request
        for client in silent:
            client.sendall(b'{"command":"field"}\n')
            self.assertTrue(json.loads(self.line(client))["ok"])
        garbage = self.connect()
        garbage.sendall(bytes(range(11, 256)) * 16 + b"\n" + b"[" * 5000 + b"\n" + b'{"command":"list"}\n')
        answers = garbage.makefile("rb")
        for reason in ("a request is a JSON object on one line", "nested too deeply"):
            answer = json.loads(answers.readline())
            self.assertEqual((answer["ok"], answer["error"]), (False, reason))
        self.assertTrue(json.loads(answers.readline())["ok"])
        half = self.connect()
        half.sendall(b'{"command":"unplug","serialNumber":31415926}')
        half.shutdown(socket.SHUT_WR)
        self.assertEqual(half.recv(100), b"", "half a line is answered")
        self.assertEqual(program.state(TIV_Q), "streaming", "half a line is obeyed")
        large = self.connect()
        try:
            for _ in range(80):
                large.sendall(b"x" * 65536)
        except (BrokenPipeError, ConnectionResetError):
            pass
        try:
            self.assertIn(b"a request of more than 65536 bytes", large.recv(1000))
        except ConnectionResetError:
            pass  # the rest of the megabytes was still on its way
        deaf = self.connect()  # asks, and never reads
        deaf.setblocking(False)
        try:
            while True:
                deaf.send(b'{"command":"list"}\n' * 200)
        except (BlockingIOError, BrokenPipeError, ConnectionResetError):
            pass
        self.still_serves()
        # Served as well: who was silent until now.
        silent[0].sendall(b'{"command":"field"}\n')
        self.assertTrue(json.loads(self.line(silent[0]))["ok"])
        # The end closes them all, and takes the socket along.
        self.close(program)
        self.assertEqual(silent[1].recv(100), b"")
        self.assertFalse(program.control.exists())

    def test_other_users_are_turned_away(self):
        if os.geteuid() != 0:
            self.skipTest("only root can be another user")
        own_folder = pathlib.Path(os.environ["HOME"]).parent  # of run-test; the ones above belong to others
        if not all(folder.stat().st_mode & stat.S_IXOTH for folder in own_folder.parents):
            self.skipTest(f"other users cannot enter the folders above {own_folder}")
        program = self.begin()
        # Even where the file's mode would let them.
        os.chmod(program.control, 0o666)
        self.assertIn(own_folder, program.control.parents)
        for folder in program.control.parents:
            if folder not in own_folder.parents:
                folder.chmod(0o755)
        child = os.fork()
        if child == 0:
            try:
                try:
                    os.setuid(65534)
                except OSError:  # in a user namespace that has no other one
                    os._exit(3)
                client = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
                client.settimeout(PATIENCE * SCALE)
                client.connect(str(program.control))
                try:
                    client.sendall(b'{"command":"list"}\n')
                    answer = client.recv(100)
                except (BrokenPipeError, ConnectionResetError):
                    answer = b""
                os._exit(0 if answer == b"" else 1)
            except BaseException:  # pylint: disable=broad-except
                os._exit(2)
        status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        if status == 3:
            self.skipTest("this root cannot be another user")
        self.assertEqual(status, 0, "1: answered, 2: could not connect")
        self.still_serves()
        self.close(program)


if __name__ == "__main__":
    world.main()
