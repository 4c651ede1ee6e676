"""No comment divides a file with a line of dashes: a plain comment divides a list of slots; split a long file into two."""

import re
import sys

import rules

root = sys.argv[1]
BANNER = re.compile(r"^\s*(?://|#) *[-=*#/]{4,}", re.M)
problems = []
files = rules.tracked(root, *rules.CPP_FILES, "*CMakeLists.txt", "*.cmake", "*.py", "run", "test", "tools/*",
                      "docs/take-*", "tests/support/run-test", "tests/fuzz/run-fuzz")
for path in files:
    text = rules.read(root, path)
    problems += [f"{path}:{text.count(chr(10), 0, match.end()) + 1}: a line of dashes" for match in BANNER.finditer(text)]
rules.end(problems, len(files))
