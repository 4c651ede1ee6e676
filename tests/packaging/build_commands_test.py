"""Debian's checker of build logs (blhc) finds nothing in the commands that build the programs, and no name of a folder
changes them.

    build_commands_test.py NINJA BUILD_DIR TARGET...

The commands are the lines of a build log with all of its commands, without a build.
"""

import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ninja, build, targets = sys.argv[1], sys.argv[2], sys.argv[3:]
del sys.argv[1:]

# The checker skips all lines before one like this.
START = "dpkg-buildpackage: info: source package gravimon\n"


def findings(commands):
    with tempfile.NamedTemporaryFile("w", encoding="utf-8") as log:
        log.write(START + commands)
        log.flush()
        done = subprocess.run(["blhc", log.name], capture_output=True, text=True, check=False)
    return done.returncode, (done.stdout + done.stderr).splitlines()


def commands_of(*names):
    done = subprocess.run([ninja, "-C", build, "-t", "commands", *names], capture_output=True, text=True, check=True)
    return "".join(line + "\n" for line in done.stdout.splitlines() if not line.startswith("ninja: "))


class BuildCommands(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        cls.commands = commands_of(*targets)

    def test_checker_finds_nothing(self):
        self.assertGreater(len(re.findall(r" -c .*\.cpp[\"']?$", self.commands, re.MULTILINE)), 50)
        self.assertEqual(findings(self.commands), (0, []))

    def test_checker_finds_each_missing_flag(self):
        for flag in ("-fstack-protector-strong", "-D_FORTIFY_SOURCE=2", "-Werror=format-security", "-Wl,-z,relro"):
            with self.subTest(flag):
                status, lines = findings(self.commands.replace(flag, ""))
                self.assertNotEqual(status, 0)
                self.assertTrue(any(f"missing ({flag})" in line for line in lines), lines[:1])

    def test_folders_are_arguments_of_scripts(self):
        # In a script, the apostrophe of a folder's name would end the quoted text.
        commands = commands_of("packaging_files")
        scripts = re.findall(r'\bsh -c ("(?:[^"\\]|\\.)*"|\S+)', commands)
        self.assertTrue(scripts)
        self.assertEqual([script for script in scripts if "/" in script], [])
        # CMake 3.25 does not quote the folder for its own resource compiler.
        self.assertNotIn("cmake_autorcc", commands)


if not shutil.which("blhc"):
    print("SKIPPED: blhc is not installed (tools/setup test)")
    sys.exit(77)
unittest.main(verbosity=2)
