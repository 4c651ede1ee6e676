"""The bench's clock, stopped and advanced from outside at a multiple of real time."""

import json
import socket
import threading
import time

SAMPLE = 0.0025  # seconds between two inertial samples
MOST_BEHIND = 0.5  # seconds of the bench that the program may delay the clock
POLL = 0.0003  # seconds of real time between two looks at a program that has not read a sample yet


class Connection:
    """Requests to a bench. An answer that does not come within the patience, in seconds, is an OSError."""

    def __init__(self, path, patience):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(patience)
        self.socket.connect(str(path))
        self.answers = self.socket.makefile("rb")

    def ask(self, request):
        self.socket.sendall(json.dumps(request).encode("ascii") + b"\n")
        line = self.answers.readline()
        if not line:
            raise OSError("the bench has closed the connection")
        answer = json.loads(line)
        if not answer["ok"]:
            raise OSError(f"the bench refused {request}: {answer['error']}")
        return answer

    def close(self):
        self.answers.close()
        self.socket.close()


class Pace:
    """Advances the clock sample by sample, each when the program has read the one before it. A program that is late
    delays the clock by at most MOST_BEHIND; then the clock goes on, and the program misses samples.

    ask     asks the bench
    speed   seconds of the bench in a second of real time
    """

    def __init__(self, ask, speed, now=time.monotonic, sleep=time.sleep):
        self.ask, self.speed, self.now, self.sleep = ask, speed, now, sleep
        self.made = self.read = 0  # of the cameras that are no longer open
        self.open = {}  # samples made and read, by serial number
        self.closed = {}  # the same of the last opening, when it ended
        self.awaited = {}  # samples read when the last one was made, by serial number
        answer = self.ask({"command": "clock", "stopped": True})
        self.begin, self.first, self.last = self.now(), answer["time"], answer["time"]
        self.count(answer)

    @property
    def seconds(self):
        """Of the bench, since the beginning."""
        return (self.last - self.first) / 1e9

    @property
    def samples(self):
        """Made and read so far, of all openings of all cameras."""
        counts = list(self.open.values())
        return self.made + sum(c[0] for c in counts), self.read + sum(c[1] for c in counts)

    def count(self, answer):
        """Takes the numbers of an answer and returns those of the one before it."""
        self.last = answer["time"]
        counts = {c["serialNumber"]: (c["samplesProduced"], c["samplesRead"]) for c in answer["cameras"]}
        # A camera in use by the calibration alone keeps the counts of its last opening.
        counts = {serial: count for serial, count in counts.items()
                  if serial in self.open or not self.has_counts_of_the_last_opening(serial, *count)}
        for serial, (made, read) in self.open.items():
            if serial not in counts or counts[serial][0] < made:  # closed, and perhaps opened again
                self.made += made
                self.read += read
                self.closed[serial] = (made, read)
        before, self.open = self.open, counts
        return before

    def has_counts_of_the_last_opening(self, serial, made, read):
        last = self.closed.get(serial)
        # One sample may have been read after the last look.
        return last is not None and made >= last[0] and read <= last[1] + 1

    def is_awaited(self):
        """Whether the program has not yet read the last sample."""
        return any(serial in self.open and self.open[serial][1] <= read for serial, read in self.awaited.items())

    def step(self):
        """Advances the clock once, or waits a moment."""
        behind = (self.now() - self.begin) * self.speed - self.seconds
        if behind < SAMPLE:
            self.sleep(max((SAMPLE - behind) / self.speed, POLL))
        elif behind < MOST_BEHIND and self.is_awaited():
            self.sleep(POLL)
            self.count(self.ask({"command": "clock"}))
        else:
            before = self.count(self.ask({"command": "clock", "advance": max(SAMPLE, behind - MOST_BEHIND)}))
            self.awaited = {serial: read for serial, (made, read) in self.open.items()
                            if made > before.get(serial, (0, 0))[0]}

    def release(self):
        """Lets the clock follow real time again."""
        self.ask({"command": "clock", "stopped": False})


class SteppedClock:
    """Paces the clock of a bench on a thread of its own. The start and stop() take at most the patience. After a
    failure the clock stands still and problem has the reason."""

    def __init__(self, path, speed, patience):
        self.problem = None
        self.ended = threading.Event()
        self.connection = Connection(path, patience)
        self.pace = Pace(self.connection.ask, speed)
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def run(self):
        try:
            while not self.ended.is_set():
                self.pace.step()
            self.pace.release()
        except Exception as problem:  # whatever it is, the caller reports it
            self.problem = f"the bench's clock stopped after {self.pace.seconds:.1f} s: {problem!r}"

    def stop(self):
        """Ends the stepping; the clock follows real time again."""
        self.ended.set()
        self.thread.join()
        self.connection.close()
