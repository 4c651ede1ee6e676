"""tools/measure-noise: which programs it runs. They are scripts.

    python3 tests/tools/test_measure_noise.py PROJECT_FOLDER
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

root = pathlib.Path(sys.argv.pop(1)).resolve()
LIMIT = 60  # s


class MeasureNoise(unittest.TestCase):

    def test_a_relative_folder_of_programs_starts_at_the_folder_of_the_user(self):
        with tempfile.TemporaryDirectory() as name:
            program = pathlib.Path(name, "own", "om-bench")
            program.parent.mkdir()
            program.write_text("#!/bin/bash\necho \"$0 $1\"\nexit 1\n", encoding="utf-8")
            program.chmod(0o755)
            done = subprocess.run([root / "tools" / "measure-noise", "1", "own"], cwd=name, capture_output=True, text=True,
                                  timeout=LIMIT, check=False)
            self.assertEqual(done.returncode, 1)
            self.assertIn(f"{program.resolve()} generate\n", done.stdout)


if __name__ == "__main__":
    unittest.main()
