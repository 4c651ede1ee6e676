"""The reports of the three example IMUs, which are generated, differ by their verdicts and agree with the bench files.

example_imus.py GRAVIMON_LOG OM_BENCH
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

LOG, BENCH = sys.argv[1:3]
BENCHES = pathlib.Path(__file__).resolve().parents[2] / "docs" / "bench"
HOURS = 0.1
LIMIT = 120  # s
NO_VERDICT_FAILED, A_VERDICT_FAILED = 0, 3

WARM_UP = {"temperature"}  # the camera is cold at first
CONSUMER = {"accelerometer.noise_density", "gyroscope.noise_density"}


class ExampleImus(unittest.TestCase):

    def report(self, name):
        """Exit status, report, and the errors that the bench file asks for."""
        text = re.sub("//.*", "", (BENCHES / f"imu-{name}.json").read_text(encoding="utf-8"))
        errors = json.loads(text)["cameras"][0]["errors"]
        with tempfile.TemporaryDirectory() as folder:
            csv, numbers = pathlib.Path(folder) / "a.csv", pathlib.Path(folder) / "a.json"
            subprocess.run([BENCH, "generate", BENCHES / f"imu-{name}.json", "--hours", str(HOURS), "-o", csv], check=True,
                           timeout=LIMIT, stdout=subprocess.DEVNULL)
            done = subprocess.run([LOG, "report", csv, "--json", numbers], check=False, timeout=LIMIT,
                                  stdout=subprocess.DEVNULL)
            return done.returncode, json.loads(numbers.read_text(encoding="utf-8")), errors

    def verdicts(self, report, state):
        """Without instability and walk of the bias, which take hours."""
        return {verdict["id"] for verdict in report["verdicts"]
                if verdict["state"] == state and not verdict["id"].endswith(("bias_instability", "random_walk"))}

    def compare_densities(self, report, errors):
        for sensor in ("accelerometer", "gyroscope"):
            asked = errors[sensor]["noiseDensity"]
            for axis, density in zip("xyz", asked if isinstance(asked, list) else [asked] * 3):
                found = report[sensor][axis]["noise_density"]["value"]
                self.assertLess(abs(found / density - 1), 0.03, (sensor, axis, found, density))

    def test_the_good_one_passes_but_for_its_warm_up(self):
        status, report, errors = self.report("good")
        self.assertEqual((status, self.verdicts(report, "failed"), self.verdicts(report, "warning")),
                         (NO_VERDICT_FAILED, set(), WARM_UP))
        self.compare_densities(report, errors)

    def test_the_consumer_one_has_the_noise_of_its_kind(self):
        status, report, errors = self.report("consumer")
        self.assertEqual((status, self.verdicts(report, "failed"), self.verdicts(report, "warning")),
                         (NO_VERDICT_FAILED, set(), CONSUMER | WARM_UP))
        self.compare_densities(report, errors)

    def test_the_broken_one_fails_for_each_of_its_faults(self):
        status, report, errors = self.report("broken")
        self.assertEqual(status, A_VERDICT_FAILED)
        self.assertEqual(self.verdicts(report, "failed"),
                         {"missing_samples", "gravity", "accelerometer.noise_density", "accelerometer.saturation",
                          "accelerometer.spikes"})
        self.assertEqual(self.verdicts(report, "warning"), {"gaps", "gyroscope.noise_density", "vibration"} | WARM_UP)
        # As if there were no spikes.
        asked = errors["accelerometer"]["noiseDensity"][2]
        self.assertLess(abs(report["accelerometer"]["z"]["noise_density"]["value"] / asked - 1), 0.05)
        line = report["accelerometer"]["y"]["spectrum"]["lines"][0]
        self.assertLessEqual(line["low_hz"], errors["accelerometer"]["vibration"]["frequency"])
        self.assertGreaterEqual(line["high_hz"], errors["accelerometer"]["vibration"]["frequency"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=1)
