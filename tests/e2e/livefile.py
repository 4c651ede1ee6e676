"""A recording that is being written, to observe how the program handles the camera's values."""

import recorder_control as control
import recording
from waiting import wait_for


class LiveFile:
    """All columns of the recording that the program writes now."""

    def __init__(self, program):
        self.program = program
        self.path = control.start_recording(program)
        self.names = recording.columns()

    def rows(self, last):
        """The newest whole rows, oldest first, as objects by column name."""
        with open(self.path, "rb") as file:
            file.seek(0, 2)
            file.seek(max(0, file.tell() - 400 * (last + 2)))
            lines = file.read().split(b"\n")[1:-1][-last:]
        fields = [line.decode("ascii").split(",")[:-1] for line in lines]
        return [dict(zip(self.names, map(float, row))) for row in fields if row[0].isdigit()]

    def latest(self):
        return self.rows(1)[-1]

    def wait_for_more(self, count):
        """Waits for so many more rows and returns them."""
        control.wait_for_rows(self.path, count)
        return self.rows(count)

    def wait_until(self, what, predicate):
        """Until the newest row is so, which is returned."""
        def so():
            row = self.latest()
            return row if predicate(row) else None
        return wait_for(what, so)

    def stop(self, absent=False):
        """Ends the recording and returns it, read back and checked; absent where a sensor was for a while."""
        control.stop_recording(self.program, self.path)
        kept = recording.Recording(self.path)
        kept.check_order(absent)
        return kept
