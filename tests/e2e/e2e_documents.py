"""The examples of the documents are real: each console block runs with a running program, and its output is the
one in the document, except for the numbers."""

import pathlib
import re
import shlex
import subprocess

import world
from waiting import PATIENCE, SCALE, wait_for

DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"

# A recording for the examples that play one.
RECORDING = "idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],\n" + "".join(
    f"{i},{1700000000 + i / 400:.9f},0.100000000,9.800000000,0.200000000,\n" for i in range(400))


def examples(text):
    """The commands of the console blocks with the lines shown below each."""
    found = []
    for block in re.findall(r"^```console\n(.*?)^```$", text, re.M | re.S):
        for line in block.splitlines():
            if line.startswith("$ "):
                found.append((line[2:], []))
            else:
                found[-1][1].append(line)
    return found


def plain(line):
    """A line without what differs from time to time."""
    return re.sub(r"\s+", " ", re.sub(r"-?\d+(\.\d+)?(e-?\d+)?", "0", line)).strip()


class Examples(world.EndToEndTest):

    def run_examples(self, program, text):
        (program.folder / "walk.csv").write_text(RECORDING, encoding="utf-8")
        (program.folder / "docs").symlink_to(DOCS)
        ran = 0
        for command, shown in examples(text):
            words = shlex.split(command)
            self.assertEqual(words[0], "om-bench", command)
            result = subprocess.run([str(world.bin_dir / "om-bench"), *words[1:]], capture_output=True, text=True,
                                    env=program.environment, cwd=program.folder, timeout=PATIENCE * SCALE, check=False)
            refused = bool(shown) and shown[0].startswith("om-bench: ")
            self.assertEqual(result.returncode, 1 if refused else 0, f"{command}\n{result.stdout}{result.stderr}")
            if shown:
                printed = (result.stdout + result.stderr).splitlines()
                self.assertEqual([plain(line) for line in printed], [plain(line) for line in shown], command)
            ran += 1
        return ran

    def test_guide(self):
        program = self.start_streaming()
        self.assertGreater(self.run_examples(program, (DOCS / "bench-guide.md").read_text(encoding="utf-8")), 15)
        self.assertEqual(program.end(), 0)
        # The recording has only the acceleration, which is reported.
        self.assertEqual([line for line in program.errors() if "walk.csv" not in line], [])

    def test_worked_bench_files(self):
        sections = re.split(r"^## ", (DOCS / "bench" / "README.md").read_text(encoding="utf-8"), flags=re.M)[1:]
        files = sorted(path.name for path in (DOCS / "bench").glob("*.json"))
        # A section may describe several files: "a.json, b.json: what they have in common".
        described = [(name, section) for section in sections for name in section.split(":")[0].split(", ")]
        self.assertEqual(sorted(name for name, _ in described), files)
        for name, section in described:
            with self.subTest(name):
                bench = (DOCS / "bench" / name).read_text(encoding="utf-8")
                first = int(re.search(r'"serialNumber": (\d+)', bench)[1])
                program = self.start(bench=bench)
                program.wait_for_state(first, "streaming")
                program.wait_for_samples(first, 800)
                wait_for("the end of the fault that counts down",
                         lambda p=program, f=first: "grabFailures" not in p.cameras()[f]["faults"])
                self.assertGreater(self.run_examples(program, section), 0)
                self.close(program)


if __name__ == "__main__":
    world.main()
