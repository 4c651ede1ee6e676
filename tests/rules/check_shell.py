"""Shell scripts pass shellcheck."""

import shutil
import subprocess
import sys

import rules

root = sys.argv[1]
if shutil.which("shellcheck") is None:
    sys.exit("no shellcheck: install the package shellcheck")
files = [path for path in rules.tracked(root, "run", "test", ".ci/run", "tools/*", "tests/*", "packaging/*", "src/*")
         if rules.read_start(root, path).startswith(("#!/usr/bin/env bash", "#!/bin/bash", "#!/bin/sh"))]
result = subprocess.run(["shellcheck", "--severity=warning", "--format=gcc", *files], cwd=root,
                        capture_output=True, text=True)
rules.end(result.stdout.splitlines() + result.stderr.splitlines(), len(files))
