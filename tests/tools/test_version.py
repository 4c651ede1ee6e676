"""The version of a build: test_version.py SOURCE_DIR CMAKE"""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import own_git  # noqa: F401  pylint: disable=unused-import

source = pathlib.Path(sys.argv[1])
cmake = sys.argv[2]
FALLBACK = "7.8.9"


class Version(unittest.TestCase):

    def setUp(self):
        self.tree = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.tree)

    def git(self, *arguments):
        subprocess.run(["git", "-c", "user.name=t", "-c", "user.email=t@example.invalid", "-C", self.tree, *arguments],
                       check=True, capture_output=True)

    def commit(self):
        self.git("commit", "--allow-empty", "-m", "change")

    def version(self, tree=None):
        target = self.tree / "version.cpp"
        subprocess.run([cmake, f"-DSOURCE={tree or self.tree}", f"-DFALLBACK={FALLBACK}", f"-DTARGET={target}",
                        "-P", source / "src/version/write-version.cmake"], check=True)
        return target.read_text(encoding="utf-8").split('"')[3]

    def test_a_tag_is_the_version(self):
        self.git("init")
        self.commit()
        self.git("tag", "0.3.1")
        self.assertEqual(self.version(), "0.3.1")

    def test_commits_after_a_tag_are_counted(self):
        self.git("init")
        self.commit()
        self.git("tag", "-m", "release", "0.3.1")
        self.commit()
        self.commit()
        self.assertRegex(self.version(), r"\A0\.3\.1\+2\.g[0-9a-f]{7,}\Z")

    def test_other_tags_do_not_count(self):
        self.git("init")
        self.commit()
        self.git("tag", "0.3.1")
        self.commit()
        self.git("tag", "nightly")
        self.assertRegex(self.version(), r"\A0\.3\.1\+1\.g")

    def test_a_clone_without_tags_has_the_projects_version(self):
        self.git("init")
        self.commit()
        self.assertEqual(self.version(), FALLBACK)

    def test_a_source_package_has_the_projects_version(self):
        self.assertEqual(self.version(), FALLBACK)

    def test_a_repository_around_a_source_package_does_not_count(self):
        self.git("init")
        self.commit()
        self.git("tag", "4.0.0")
        (self.tree / "unpacked").mkdir()
        self.assertEqual(self.version(self.tree / "unpacked"), FALLBACK)


unittest.main(argv=sys.argv[:1], verbosity=2)
