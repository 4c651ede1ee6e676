"""Shell scripts pass shellcheck, and those that change to a relative folder ignore CDPATH, with which cd could go to another
one and print it."""

import re
import shutil
import subprocess
import sys

import rules

ALLOWED = "SC1091,SC2317"  # a file of another machine; a function that only a trap calls
root = sys.argv[1]
if shutil.which("shellcheck") is None:
    sys.exit("no shellcheck: install the package shellcheck")
files = [path for path in rules.tracked(root, "run", "test", ".ci/run", "tools/*", "tests/*", "packaging/*", "src/*", "bench/*", "docs/*")
         if rules.read_start(root, path).startswith(("#!/usr/bin/env bash", "#!/bin/bash", "#!/bin/sh"))]
result = subprocess.run(["shellcheck", "--severity=info", f"--exclude={ALLOWED}", "--format=gcc", *files], cwd=root,
                        capture_output=True, text=True)
problems = result.stdout.splitlines() + result.stderr.splitlines()
if result.returncode not in (0, 1):  # 1: it has found something
    problems.append(f"shellcheck ended with {result.returncode}")
for path in files:
    text = rules.read(root, path)
    if re.search(r"\bcd ", text) and not re.search(r"\A(?:(?!\bcd ).)*^unset CDPATH$", re.sub(r"#.*", "", text), re.M | re.S):
        problems.append(f"{path}: cd without \"unset CDPATH\" before it")
rules.end(problems, len(files))
