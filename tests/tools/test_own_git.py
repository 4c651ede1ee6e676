"""Tests that make a repository leave that of their caller alone: test_own_git.py SOURCE_DIR"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

folder = pathlib.Path(sys.argv.pop(1)) / "tests" / "tools"

# What a test of this folder does.
PROGRAM = """
import subprocess, sys, own_git
subprocess.run(["git", "-C", sys.argv[1], "init", "-q"], check=True)
subprocess.run(["git", "-C", sys.argv[1], "-c", "user.name=a", "-c", "user.email=a@b.example",
                "commit", "-q", "--allow-empty", "-m", "change"], check=True)
"""


class OwnGit(unittest.TestCase):

    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = pathlib.Path(place.name)

    def test_repository_and_settings_of_a_hook_are_not_used(self):
        environment = {name: value for name, value in os.environ.items() if not name.startswith("GIT_")}
        callers = self.place / "callers"
        subprocess.run(["git", "init", "-q", callers], check=True, env=environment)
        settings = self.place / "settings"
        settings.write_text("[commit]\n\tgpgSign = true\n[gpg]\n\tprogram = false\n", encoding="utf-8")
        own = self.place / "own"
        own.mkdir()
        subprocess.run([sys.executable, "-B", "-c", PROGRAM, own], check=True, cwd=folder, env=dict(
            environment, PYTHONPATH=str(folder), GIT_DIR=str(callers / ".git"), GIT_INDEX_FILE=str(callers / ".git/index"),
            GIT_CONFIG_GLOBAL=str(settings)))
        commits = {name: subprocess.run(["git", "-C", self.place / name, "rev-list", "--all", "--count"], check=True,
                                        capture_output=True, text=True, env=environment).stdout.strip()
                   for name in ("callers", "own")}
        self.assertEqual(commits, {"callers": "0", "own": "1"})

    def test_each_test_with_git_imports_it(self):
        with_git = [path for path in sorted(folder.glob("test_*.py"))
                    if '"git"' in path.read_text(encoding="utf-8") and path.name != "test_own_git.py"]
        self.assertGreater(len(with_git), 3)
        for path in with_git:
            self.assertIsNotNone(re.search(r"^import own_git\b", path.read_text(encoding="utf-8"), re.M), path)


if __name__ == "__main__":
    unittest.main()
