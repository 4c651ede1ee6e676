"""Programs that start without standard input, output or error, from outside.

closed_descriptors.py BIN_DIR
"""

import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import threading
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "e2e"))
from waiting import wait_for  # pylint: disable=wrong-import-position

BIN_DIR = pathlib.Path(sys.argv.pop(1))
LIMIT = 120  # s
DONE, REFUSED = 0, 1


def closing(*numbers):
    def close():
        for number in numbers:
            os.close(number)
    return close


class WithAWindow(unittest.TestCase):

    def has_null_in_their_places(self, program):
        process = subprocess.Popen([BIN_DIR / program], preexec_fn=closing(0, 1, 2))
        self.addCleanup(process.wait, LIMIT)
        self.addCleanup(process.kill)

        def has_them():
            self.assertIsNone(process.poll(), "the program ended")
            try:
                return all(os.readlink(f"/proc/{process.pid}/fd/{number}") == "/dev/null" for number in range(3))
            except FileNotFoundError:
                return False
        # Until main() each library has one of the places while it is loaded.
        wait_for("/dev/null in the places of the three", has_them)

    def test_gravimon(self):
        self.has_null_in_their_places("gravimon")

    def test_om_bench_window(self):
        self.has_null_in_their_places("om-bench-window")


class OmBench(unittest.TestCase):

    def asked(self, answer, *closed):
        """Exit status and standard error of om-bench list, and all that the bench received."""
        with tempfile.TemporaryDirectory() as folder, socket.socket(socket.AF_UNIX) as listener:
            path = f"{folder}/bench.sock"
            listener.bind(path)
            listener.listen(1)
            received = []

            def serve():
                peer, _ = listener.accept()
                with peer, peer.makefile("rb") as lines:
                    received.append(lines.readline())
                    peer.sendall(answer + b"\n")
                    received.extend(lines)
            # A listener that nobody comes to ends with the process.
            thread = threading.Thread(target=serve, daemon=True)
            thread.start()
            done = subprocess.run([BIN_DIR / "om-bench", "--socket", path, "list"], stdout=subprocess.DEVNULL,
                                  stderr=subprocess.PIPE, text=True, check=False, timeout=LIMIT,
                                  preexec_fn=closing(*closed))
            thread.join(LIMIT)
            self.assertFalse(thread.is_alive())
        return done.returncode, done.stderr, received

    def test_a_closed_standard_output_is_an_error_and_the_bench_receives_none_of_it(self):
        for closed in ((1,), (0, 1)):
            self.assertEqual(self.asked(b'{"ok": true, "cameras": []}', *closed),
                             (REFUSED, "om-bench: standard output cannot be written\n", [b'{"command":"list"}\n']))

    def test_the_bench_receives_no_error_line(self):
        for closed in ((2,), (0, 1, 2)):
            self.assertEqual(self.asked(b'{"ok": false, "error": "no"}', *closed),
                             (REFUSED, "", [b'{"command":"list"}\n']))


if __name__ == "__main__":
    unittest.main(verbosity=2)
