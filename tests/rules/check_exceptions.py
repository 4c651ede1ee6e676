"""The program catches no exception: one that is thrown ends it."""

import re
import sys

import rules

root = sys.argv[1]
CATCH = re.compile(r"\bcatch\s*\(|\btry\s*\{")
# Programs of their own over the recordings.
APART = ("src/analysis/", "src/log/")
problems = []
files = [path for path in rules.tracked(root, "src/*.h", "src/*.cpp") if not path.startswith(APART)]
for path in files:
    text = rules.read(root, path)
    for match in CATCH.finditer(text):
        line = text.count("\n", 0, match.start()) + 1
        problems.append(f"{path}:{line}: the program catches no exception: {match.group(0)}")
rules.end(problems, len(files))
