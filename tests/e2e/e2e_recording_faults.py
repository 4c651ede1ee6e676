"""Recordings that meet a lost camera, a full disk, a bad folder, a bad store or a sudden end."""

import errno
import os
import resource
import shutil
import signal
import subprocess
import time

import emitted
import recorder_control as control
import recording
import screen
import world
from screen import CONTROLS
from waiting import SCALE, wait_for
from world import TIV_Q, camera


class SuddenEnd(world.EndToEndTest):

    def test_sigkill_leaves_every_row_but_the_last_whole(self):
        program = self.start_streaming()
        path = control.start_recording(program)
        control.wait_for_rows(path, 400)
        killed = time.time()
        program.end(signal.SIGKILL)
        file = recording.Recording(path, last_may_be_cut=True)
        self.assertGreaterEqual(len(file), 400)
        file.check_order()
        file.check_emitted(emitted.Camera(TIV_Q), 40000)
        self.assertGreater(file.column("imu_Timestamp[sec]")[-1], killed - 4 * SCALE)

    def test_each_row_is_in_the_file_as_it_is_written(self):
        # Ten rows a second would take five of them to fill a usual buffer.
        program = self.start_streaming(settings={"sample_freq": 10})
        path = control.start_recording(program)
        for _ in range(20):
            control.wait_for_rows(path, 1)
            now = time.time()
            newest = recording.Recording(path, last_may_be_cut=True).column("imu_Timestamp[sec]")[-1]
            self.assertLess(now - newest, 3.0 * SCALE, "rows wait in a buffer")
        control.stop_recording(program, path)
        self.close(program)


class LostCamera(world.EndToEndTest):

    def test_unplugging_ends_the_recording_and_gives_the_button_back(self):
        serial = 20000001
        # At rest, since a motion goes on while the camera is unplugged.
        program = self.start_streaming(serial, bench=[camera("TIV_Q", serial, motion="at rest")])
        wait_for("the idle button", control.is_idle)
        width = control.text_width()
        path = control.start_recording(program)
        control.wait_for_rows(path, 200)
        program.om_bench("unplug", serial)
        wait_for("the closed file", lambda: not control.is_open(program, path))
        wait_for("the idle button", control.is_idle)
        wait_for("\"Record\"", lambda: abs(control.text_width() - width) <= 3)
        kept = path.read_bytes()
        recording.Recording(path).check_order()
        # The options are open again, and the camera that comes back isn't recorded by itself.
        control.press(program, control.open_options(program), "cancel")
        program.om_bench("plug", serial)
        program.wait_for_streaming(serial)
        program.wait_for_samples(serial, 200)
        self.assertEqual(control.recordings(program), [path])
        self.assertEqual(path.read_bytes(), kept)
        # The next recording counts from the camera's return.
        second = control.start_recording(program)
        control.wait_for_rows(second, 20)
        control.stop_recording(program, second)
        recording.Recording(second).check_emitted(emitted.Camera(serial, pose=(1.0, 0.0, 0.0, 0.0)), 40000)
        self.assertLess(recording.Recording(second).column("idx")[0], 400 * 60)
        self.close(program)


def mounting():
    """Command words that run a command with a mount namespace of its own, or None where that is refused."""
    for words in (["unshare", "--mount"], ["unshare", "--map-root-user", "--mount"]):
        if shutil.which("unshare") and subprocess.run([*words, "mount", "-t", "tmpfs", "-o", "size=64k", "none", "/mnt"],
                                                      capture_output=True, check=False).returncode == 0:
            return words
    return None


def fill(filler):
    """Takes all space of the disk that the file lies on."""
    with open(filler, "wb", buffering=0) as file:
        try:
            while True:
                file.write(bytes(4096))
        except OSError as error:
            if error.errno != errno.ENOSPC:
                raise


class FullDisk(world.EndToEndTest):

    def test_recording_goes_on_in_silence_and_no_row_is_lost(self):
        words = mounting()
        if words is None:
            self.skipTest("no small disk can be mounted here (neither as root nor in a user namespace)")
        folder = os.path.join(os.environ["HOME"], "small-disk")
        os.makedirs(folder, exist_ok=True)
        mount = 'mount -t tmpfs -o size=1m none "$0" && exec "$@"'
        program = self.start_streaming(settings={"save_folder": folder}, wrapper=[*words, "sh", "-c", mount, folder])
        seen = program.root(folder)
        # Room for the header and some hundred rows.
        filler = seen / "filler"
        filler.write_bytes(bytes(960 * 1024))
        screen.click(CONTROLS["record"])
        path = wait_for("a file", lambda: next(seen.glob("*.csv"), None))
        wait_for("the full disk", lambda: path.stat().st_size == 64 * 1024)
        program.wait_for_samples(TIV_Q, 400)
        # No message, the button still pressed, the camera still streams.
        self.assertEqual([w[0] for w in screen.windows(program.pid)], ["Gravimon"])
        self.assertTrue(control.is_pressed())
        file = recording.Recording(path, last_may_be_cut=True)
        self.assertGreater(len(file), 100)
        file.check_order()

        # Space again: what has waited follows, without a gap.
        filler.unlink()
        control.wait_for_rows(path, len(file) + 400)
        # And full once more, up to the stop.
        fill(filler)
        program.wait_for_samples(TIV_Q, 400)

        def is_open():
            """By its name, since the mount hides the path."""
            return any(target.endswith("/" + path.name) for target in program.open_files())
        self.assertTrue(is_open())
        screen.click(CONTROLS["record"])
        wait_for("the idle button", control.is_idle)
        # The button is drawn before the recording ends, which cuts off a line that is not whole.
        wait_for("the closed file", lambda: not is_open())
        file = recording.Recording(path)
        file.check_order()
        steps = [b - a for a, b in zip(file.column("idx"), file.column("idx")[1:])]
        # The rows of the first time are of more than 400 samples.
        self.assertLess(max(steps), 200)
        self.close(program)


class FileSizeLimit(world.EndToEndTest):

    def test_reached_limit_is_as_a_full_disk(self):
        program = self.start_streaming()
        path = control.start_recording(program)
        control.wait_for_rows(path, 20)
        _, most = resource.prlimit(program.pid, resource.RLIMIT_FSIZE)
        limit = path.stat().st_size + 400000  # some seconds of rows, so that the file is still smaller when the limit is set
        resource.prlimit(program.pid, resource.RLIMIT_FSIZE, (limit, most))
        wait_for("the reached limit", lambda: path.stat().st_size == limit)
        program.wait_for_samples(TIV_Q, 400)
        resource.prlimit(program.pid, resource.RLIMIT_FSIZE, (most, most))
        control.wait_for_rows(path, 400)
        control.stop_recording(program, path)
        file = recording.Recording(path)
        file.check_order()
        steps = [b - a for a, b in zip(file.column("idx"), file.column("idx")[1:])]
        self.assertLess(max(steps), 200)
        self.close(program)


class BadFolder(world.EndToEndTest):

    def refused(self, folder):
        """The box shows, and after it the button is back and the next recording works."""
        program = self.start_streaming(settings={"save_folder": folder})
        screen.click(CONTROLS["record"])
        control.close_box(program)
        wait_for("the idle button", control.is_idle)
        self.assertEqual(control.recordings(program), [])
        program.wait_for_samples(TIV_Q, 100)
        # The options stay open to choose a better one, and a second try says the same.
        control.press(program, control.open_options(program), "cancel")
        screen.click(CONTROLS["record"])
        control.close_box(program)
        self.close(program)

    def test_missing_folder(self):
        self.refused("/nowhere/at/all")

    def test_folder_without_write_permission(self):
        if os.geteuid() == 0:
            self.refused("/proc")  # where root can't make a file either
        else:
            folder = os.path.join(os.environ["HOME"], "closed")
            os.makedirs(folder, mode=0o500, exist_ok=True)
            self.refused(folder)

    def test_plain_file_in_place_of_the_folder(self):
        self.refused("/etc/passwd")

    def test_empty_folder_lifts_the_button_in_silence(self):
        program = self.start_streaming(settings={"save_folder": ""})
        screen.click(CONTROLS["record"])
        program.wait_for_samples(TIV_Q, 200)
        wait_for("the idle button", control.is_idle)
        self.assertEqual([w[0] for w in screen.windows(program.pid)], ["Gravimon"])
        self.assertEqual(control.recordings(program), [])
        self.close(program)

    def test_folder_with_a_slash_at_its_end(self):
        folder = os.path.join(os.environ["HOME"], "with slash")
        os.makedirs(folder, exist_ok=True)
        program = self.start_streaming(settings={"save_folder": folder + "/"})
        screen.click(CONTROLS["record"])
        name = wait_for("a file", lambda: next((n for n in os.listdir(folder) if recording.NAME.fullmatch(n)), None))
        screen.click(CONTROLS["record"])
        wait_for("the idle button", control.is_idle)
        os.remove(os.path.join(folder, name))
        self.close(program)


class Store(world.EndToEndTest):

    def assert_header_alone(self, path, on=recording.SWITCHES):
        self.assertEqual(len(recording.Recording(path, on)), 0)

    def test_frequency_of_0_writes_the_header_alone(self):
        program = self.start_streaming(settings={"sample_freq": 0})
        screen.click(CONTROLS["record"])
        path = wait_for("a file", lambda: next(iter(control.recordings(program)), None))
        wait_for("the pressed button", control.is_pressed)
        program.wait_for_samples(TIV_Q, 600)
        control.stop_recording(program, path)
        self.assert_header_alone(path)
        self.close(program)

    def test_frequency_of_30_is_taken_as_it_stands(self):
        program = self.start_streaming(settings={"sample_freq": 30})
        before = time.time()
        path = control.start_recording(program)
        control.wait_for_rows(path, 60)
        control.stop_recording(program, path)
        file = recording.Recording(path)
        recording.check_count(file, 30, time.time() - before)
        # No frequency of the list lies between: 25 Hz gives at least 16 samples from row to row, 50 Hz 8. A busy
        # machine lets some rows come later.
        idx = file.column("idx")
        time_column = file.column("imu_Timestamp[sec]")
        distances = sorted(later - earlier for earlier, later in zip(time_column, time_column[1:]))
        self.assertLess(distances[len(distances) // 4], 0.039, distances)
        self.assertGreater(sum(distances) / len(distances), 0.0335)
        self.assertGreater(idx[-1], idx[0])
        self.close(program)

    def test_words_that_are_no_values_count_as_off_and_0(self):
        program = self.start_streaming(settings={"gyroscope": "false", "movement": "0", "sample_freq": "often"})
        screen.click(CONTROLS["record"])
        path = wait_for("a file", lambda: next(iter(control.recordings(program)), None))
        program.wait_for_samples(TIV_Q, 400)
        control.stop_recording(program, path)
        on = [s for s in recording.SWITCHES if s not in ("gyroscope", "movement")]
        self.assert_header_alone(path, on)
        self.close(program)

    def test_store_that_cannot_be_written_still_serves_this_session(self):
        folder = os.path.join(os.environ["HOME"], "no-store")
        with open(folder, "w", encoding="ascii") as file:
            file.write("a plain file where a folder would have to be\n")
        program = self.start_streaming(environment={"XDG_CONFIG_HOME": folder})
        corner = control.open_options(program)
        control.switch(corner, "magnetometer", False)
        control.press(program, corner, "ok")
        path = control.start_recording(program)
        control.wait_for_rows(path, 20)
        control.stop_recording(program, path)
        recording.Recording(path, [s for s in recording.SWITCHES if s != "magnetometer"])
        self.assertEqual(program.end(), 0, program.errors())


if __name__ == "__main__":
    world.main()
