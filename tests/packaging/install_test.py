"""The installed files and their folders can be read by all users, whatever the umask of the one who installs.

    install_test.py CMAKE BUILD_DIR
"""

import os
import pathlib
import stat
import subprocess
import sys
import tempfile
import unittest

cmake, build = sys.argv[1:]
del sys.argv[1:]


class Install(unittest.TestCase):

    def test_modes_do_not_depend_on_the_umask(self):
        with tempfile.TemporaryDirectory() as folder:
            prefix = pathlib.Path(folder, "opt", "gravimon")
            # The name of the component for all files keeps the list of a user's own installation.
            subprocess.run([cmake, "--install", build, "--prefix", prefix, "--component", "Unspecified"], check=True,
                           capture_output=True, umask=0o077)
            installed = list(pathlib.Path(folder).rglob("*"))
            self.assertGreater(len(installed), 50)
            for path in installed:
                wanted = 0o755 if path.is_dir() or path.parent.name == "bin" else 0o644
                self.assertEqual(oct(stat.S_IMODE(os.lstat(path).st_mode)), oct(wanted), path)


unittest.main(verbosity=2)
