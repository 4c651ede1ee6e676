"""tools/check-package without root rights, up to the start of the first program: what of the machine and of the user's
settings does not matter. The package is a small one of this test.

    python3 tests/tools/test_check_package.py PROJECT_FOLDER
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

root = pathlib.Path(sys.argv.pop(1)).resolve()
LIMIT = 60  # s
os.umask(0o022)  # dpkg-deb refuses other folders

# In place of the machine's: those that build the package, the checker, and the X server.
PROGRAMS = {"cmake": "", "cpack": 'mkdir -p "${@: -1}" && cp "$HOME/gravimon.deb" "${@: -1}"', "lintian": "", "id": "echo 1000",
            "Xvfb": "echo 7 >&3\nexec sleep 60"}


class CheckPackage(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name).resolve()
        self.version = subprocess.run(["dpkg-parsechangelog", "-l", root / "packaging/debian/changelog", "-S", "Version"],
                                      check=True, capture_output=True, text=True, timeout=LIMIT).stdout.strip()
        for name, lines in PROGRAMS.items():
            self.write(f"bin/{name}", f"#!/bin/bash\n{lines}\n", 0o755)
        self.write("build/CPackConfig.cmake", "")
        self.write("deb/usr/bin/om-bench", "#!/bin/sh\necho nothing\n", 0o755)
        self.write("deb/usr/share/doc/gravimon/README.md", "[the guide](guide.md)\n")
        self.write("deb/usr/share/doc/gravimon/guide.md", "A guide.\n")
        self.write("deb/DEBIAN/control", f"Package: gravimon\nVersion: {self.version}\nArchitecture: all\n"
                   "Depends: none-such\nMaintainer: t <t@example.invalid>\nDescription: test\n")
        subprocess.run(["dpkg-deb", "--root-owner-group", "--build", self.home / "deb", self.home / "gravimon.deb"],
                       check=True, capture_output=True, timeout=LIMIT)

    def write(self, name, text, mode=0o644):
        path = self.home / name
        path.parent.mkdir(mode=0o755, parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        path.chmod(mode)

    def check(self):
        """The error with which it ends."""
        path = f"{self.home}/bin:/usr/bin:/bin"  # that of a user, without the folders of the administrator's programs
        done = subprocess.run([root / "tools/check-package", self.home / "build"], check=False, capture_output=True,
                              text=True, timeout=LIMIT, env={"PATH": path, "HOME": str(self.home)})
        self.assertIn("FALLBACK: no clean root (not run as root)", done.stdout, done.stderr)
        return done.stderr

    def test_it_installs_and_starts_as_a_user(self):
        self.assertEqual(self.check(), "check-package: FAILED: om-bench --version prints 'nothing', the package is "
                         f"{self.version}\n")

    def test_documents_that_the_machine_leaves_out(self):
        self.write(".dpkg.cfg", "path-exclude=/usr/share/doc/*\n")
        self.assertIn("om-bench --version", self.check())


if __name__ == "__main__":
    unittest.main()
