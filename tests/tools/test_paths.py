"""Relative names on the command lines of scripts start at the folder of the user, and CDPATH changes nothing. No script
takes a folder of the user for its own, or one that its programs cannot use.

    python3 tests/tools/test_paths.py PROJECT_FOLDER
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

root = pathlib.Path(sys.argv.pop(1)).resolve()
LIMIT = 60  # s


def run(*arguments, folder, **variables):
    return subprocess.run(arguments, cwd=folder, capture_output=True, text=True, timeout=LIMIT, check=False,
                          env={**os.environ, **variables})


class Paths(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()

    def test_the_folder_of_a_build(self):
        for name, reason in (("check-package", "is not a configured build"),
                             ("check-vendor-build", "is not a configured build folder")):
            done = run(root / "tools" / name, "docs", folder=self.folder)
            self.assertEqual((done.returncode, done.stderr), (2, f"{name}: {self.folder}/docs {reason}\n"))

    def test_the_folder_of_programs(self):
        program = self.folder / "own" / "om-bench"
        program.parent.mkdir()
        program.write_text("#!/bin/bash\necho \"$0 $1\"\nexit 1\n", encoding="utf-8")
        program.chmod(0o755)
        done = run(root / "tools" / "measure-noise", "1", "own", folder=self.folder)
        self.assertEqual(done.returncode, 1)
        self.assertIn(f"{program} generate\n", done.stdout)

    def test_the_folder_of_a_build_by_hand(self):
        folders = re.findall(r"\bcmake -S \. -B (build/[\w-]+)", (root / "README.md").read_text(encoding="utf-8"))
        self.assertTrue(folders)
        for script in ("run", "test", *(f"tools/{path.name}" for path in (root / "tools").iterdir()
                                        if path.is_file() and not path.name.startswith("."))):
            text = (root / script).read_text(encoding="utf-8")
            for folder in folders:
                self.assertIsNone(re.search(rf"{folder}(?![\w-])", text), f"{script}: {folder}")

    def test_the_search_path_of_cd(self):
        (self.folder / "tests" / "support").mkdir(parents=True)
        done = run("tests/support/run-test", "printenv", "LSAN_OPTIONS", folder=root, CDPATH=str(self.folder),
                   LSAN_OPTIONS="")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(done.stdout, f'suppressions="{root}/tests/support/lsan.supp":print_suppressions=0\n')

    def test_a_folder_that_the_emulator_does_not_take(self):
        (self.folder / "tools").mkdir()
        shutil.copy(root / "tools" / "cross-arm64", self.folder / "tools")
        setup = self.folder / "tools" / "setup"  # the step after
        setup.write_text("#!/bin/sh\nexit 7\n", encoding="utf-8")
        setup.chmod(0o755)
        for name, status in (("it's", 7), ("a b", 2), ("a,b", 2), ("a:b", 2)):
            done = run("tools/cross-arm64", "--dir", name, "root", folder=self.folder)
            self.assertEqual(done.returncode, status, name)
            self.assertEqual(name in done.stderr, status == 2)


if __name__ == "__main__":
    unittest.main()
