"""tools/setup: which packages it takes for missing. dpkg-query, apt-get and the others are scripts.

    python3 tests/tools/test_setup.py PROJECT_FOLDER
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

root = pathlib.Path(sys.argv.pop(1))

# The architectures of a package with their states, from the files of the folder "packages"; the others are installed.
DPKG_QUERY = """
package=${@: -1}
[ "$1 $2" = "-W -f=\\${Architecture} \\${db:Status-Status}\\n" ] || exit 2
if [ -e "$HOME/packages/$package" ]; then
    cat "$HOME/packages/$package"
    [ -s "$HOME/packages/$package" ]
else
    echo "amd64 installed"
fi
"""


class Setup(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = pathlib.Path(folder.name)
        for name in ("bin", "packages"):
            (self.home / name).mkdir()
        for name, lines in (("dpkg-query", DPKG_QUERY), ("dpkg", "echo amd64"), ("id", "echo 0"), ("npm", ""),
                            ("apt-get", 'echo "$*" >>"$HOME/calls"')):
            path = self.home / "bin" / name
            path.write_text(f"#!/bin/bash\n{lines}\n", encoding="utf-8")
            path.chmod(0o755)

    def installs(self, what="run", **states):
        """What apt-get is called with, given the states of some packages."""
        for name, lines in states.items():
            (self.home / "packages" / name.replace("_", "-")).write_text(lines, encoding="utf-8")
        done = subprocess.run([root / "tools" / "setup", what], check=False, capture_output=True, text=True, timeout=60,
                              env={"PATH": f"{self.home / 'bin'}:/usr/bin:/bin", "HOME": str(self.home),
                                   "TMPDIR": str(self.home)})
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        calls = self.home / "calls"
        return calls.read_text(encoding="utf-8") if calls.exists() else ""

    def test_nothing_is_installed_twice(self):
        self.assertEqual(self.installs(), "")
        self.assertEqual(self.installs("test"), "")

    def test_a_missing_package_is_installed(self):
        self.assertEqual(self.installs(xvfb=""), "-o DPkg::Lock::Timeout=300 install -y --no-install-recommends xvfb\n")

    def test_lists_that_another_apt_updates_are_waited_for(self):
        apt = self.home / "bin" / "apt-get"
        apt.write_text("""#!/bin/bash
echo "$*" >>"$HOME/calls"
case $(grep -c . "$HOME/calls") in
1) exit 100 ;;
2) echo "E: Could not get lock /var/lib/apt/lists/lock. It is held by process 7 (apt-get)" >&2; exit 100 ;;
esac
""", encoding="utf-8")
        (self.home / "bin" / "sleep").symlink_to("/bin/true")
        install = "-o DPkg::Lock::Timeout=300 install -y --no-install-recommends xvfb\n"
        self.assertEqual(self.installs(xvfb=""), f"{install}update\nupdate\n{install}")

    def test_a_package_that_was_removed_is_installed(self):
        self.assertIn(" xvfb\n", self.installs(xvfb="amd64 config-files\n"))

    def test_a_package_without_an_architecture_counts(self):
        self.assertEqual(self.installs(cmake="all installed\n"), "")

    def test_a_second_architecture_changes_nothing(self):
        self.assertEqual(self.installs(libgl1_mesa_dri="amd64 installed\ni386 installed\n"), "")

    def test_another_architecture_alone_does_not_count(self):
        self.assertIn(" libgl1-mesa-dri\n", self.installs(libgl1_mesa_dri="i386 installed\n"))


if __name__ == "__main__":
    unittest.main()
