"""C++ files are formatted as .clang-format says (clang-format 14, Debian 12's)."""

import re
import shutil
import subprocess
import sys

import rules

root = sys.argv[1]
tool = shutil.which("clang-format-14") or shutil.which("clang-format")
if tool is None:
    sys.exit("no clang-format: install the package clang-format")
version = subprocess.run([tool, "--version"], capture_output=True, text=True, check=True).stdout
if not re.search(r"version 14\.", version):
    sys.exit(f"clang-format 14 is wanted, this is {version.strip()}")

files = rules.tracked(root, "*.cpp", "*.h")
result = subprocess.run([tool, "--dry-run", *files], cwd=root, capture_output=True, text=True)
problems = sorted(set(line for line in result.stderr.splitlines() if "warning:" in line or "error:" in line))
if result.returncode:
    problems.append(f"{tool} ended with {result.returncode}: {result.stderr.strip()[-500:]}")
rules.end(problems, len(files))
