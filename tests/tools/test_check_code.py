"""The choice of sources by check-code: test_check_code.py SOURCE_DIR

The programs that check are replaced by one that writes down its arguments."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import own_git  # noqa: F401  pylint: disable=unused-import

source = pathlib.Path(sys.argv[1])
NAMES = ("setup", "cmake", "ninja", "clang-tidy", "cppcheck")


class Changed(unittest.TestCase):

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.tree = self.folder / "tree"
        (self.tree / "tools").mkdir(parents=True)
        shutil.copy(source / "tools/check-code", self.tree / "tools")
        programs = self.folder / "programs"
        programs.mkdir()
        for name in NAMES:
            path = (self.tree / "tools" if name == "setup" else programs) / name
            path.write_text(f'#!/bin/sh\necho "$0" "$@" >>"{self.folder}/calls"\n', encoding="utf-8")
            path.chmod(0o755)
        self.environment = dict(os.environ, PATH=f"{programs}:{os.environ['PATH']}", JOBS="1")
        (self.tree / "build/check").mkdir(parents=True)
        (self.tree / "build/check/compile_commands.json").write_text("[]", encoding="utf-8")
        self.git("init", "-b", "main")
        self.write("src/one/plain.cpp", "src/one/with_header.cpp", "src/one/with_header.h", "src/one/alone.h")
        self.write("src/two/user.cpp", "src/two/viewer.cpp", text='#include "one/alone.h"\n')

    def git(self, *arguments):
        subprocess.run(["git", "-c", "user.name=t", "-c", "user.email=t@example.invalid", "-C", self.tree, *arguments],
                       check=True, capture_output=True)

    def write(self, *names, text=""):
        for name in names:
            path = self.tree / name
            path.parent.mkdir(parents=True, exist_ok=True)
            with path.open("a", encoding="utf-8") as file:
                file.write(text or "// changed\n")

    def commit(self):
        self.git("add", ".")
        self.git("commit", "--allow-empty", "-m", "change")

    def check(self, *arguments, folder=None):
        """Runs the script. Returns what it prints, and the sources that cppcheck was to check."""
        calls = self.folder / "calls"
        calls.unlink(missing_ok=True)
        run = subprocess.run([self.tree / "tools/check-code", *arguments], env=self.environment, check=False,
                             cwd=folder, capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        lines = calls.read_text(encoding="utf-8").splitlines() if calls.exists() else []
        checked = [line for line in lines if line.split()[0].endswith("cppcheck")]
        return run.stdout, sorted(word for line in checked for word in line.split() if word.endswith(".cpp"))

    def test_a_relative_name_starts_at_the_folder_of_the_user(self):
        self.write("plain.cpp")
        self.commit()
        for folder, name in (("src/one", "plain.cpp"), ("src", "one/plain.cpp"), ("src/two", "../one/plain.cpp")):
            self.assertEqual(self.check(name, folder=self.tree / folder)[1], ["src/one/plain.cpp"])

    def test_a_change_is_that_of_the_tree_whatever_the_folder_of_the_user(self):
        self.commit()
        self.write("src/one/plain.cpp")
        self.commit()
        self.assertEqual(self.check("--changed", folder=self.tree / "src")[1], ["src/one/plain.cpp"])

    def test_a_change_without_a_commit(self):
        self.commit()
        self.commit()
        self.write("src/one/plain.cpp")
        self.assertEqual(self.check("--changed")[1], ["src/one/plain.cpp"])

    def test_the_last_commit(self):
        self.commit()
        self.write("src/one/plain.cpp")
        self.commit()
        self.assertEqual(self.check("--changed")[1], ["src/one/plain.cpp"])

    def test_a_header_stands_for_its_source_or_for_one_that_includes_it(self):
        for header, checked in (("src/one/with_header.h", "src/one/with_header.cpp"),
                                ("src/one/alone.h", "src/two/user.cpp")):
            with self.subTest(header):
                self.commit()
                self.write(header)
                self.commit()
                self.assertEqual(self.check("--changed")[1], [checked])

    def test_sources_after_a_header_are_checked_too(self):
        users = [f"src/users/user_{i}.cpp" for i in range(2000)]
        self.write(*users, text='#include "one/many.h"\n')
        self.write("src/one/many.h", "src/one/only_in_headers.h")
        self.commit()
        self.write("src/one/many.h", "src/one/only_in_headers.h", "src/two/user.cpp")
        self.commit()
        self.assertEqual(self.check("--changed")[1], ["src/two/user.cpp", "src/users/user_0.cpp"])

    def test_all_commits_that_the_remote_branch_lacks(self):
        self.commit()
        self.git("update-ref", "refs/remotes/origin/main", "HEAD")
        for name in ("src/one/plain.cpp", "src/two/user.cpp"):
            self.write(name)
            self.commit()
        self.assertEqual(self.check("--changed")[1], ["src/one/plain.cpp", "src/two/user.cpp"])

    def test_a_branch_that_is_on_the_remote_one_is_compared_with_its_last_but_one_commit(self):
        self.commit()
        self.write("src/two/user.cpp")
        self.commit()
        self.git("update-ref", "refs/remotes/origin/main", "HEAD")
        self.assertEqual(self.check("--changed")[1], ["src/two/user.cpp"])

    def test_the_named_commit(self):
        self.commit()
        self.git("tag", "first")
        for name in ("src/one/plain.cpp", "src/two/user.cpp"):
            self.write(name)
            self.commit()
        self.assertEqual(self.check("--changed", "first")[1], ["src/one/plain.cpp", "src/two/user.cpp"])

    def test_a_removed_source_is_not_checked(self):
        self.commit()
        self.git("rm", "src/one/plain.cpp")
        self.git("commit", "-m", "remove")
        output, checked = self.check("--changed")
        self.assertEqual(checked, [])
        self.assertIn("no source differs from", output)

    def test_a_checkout_without_an_earlier_commit_says_so(self):
        self.commit()
        output, checked = self.check("--changed")
        self.assertEqual(checked, [])
        self.assertIn("SKIPPED", output)

    def test_a_tree_without_git_says_so(self):
        shutil.rmtree(self.tree / ".git")
        output, checked = self.check("--changed")
        self.assertEqual(checked, [])
        self.assertIn("SKIPPED", output)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
