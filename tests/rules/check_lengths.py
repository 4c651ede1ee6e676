"""No file is longer than 400 lines and no function longer than 60, except tables and lists of styles."""

import re
import sys

import rules

FILE_LINES = 400
FUNCTION_LINES = 60

# Tables and lists of styles, which are harder to read in pieces.
TABLES = {
    "src/gpu/Tiv3D_N.cpp",  # the vertices and triangles of one mesh, written by a tool
    "src/look/Style_sheets.cpp",  # a list of styles: one assignment per style sheet
    "src/look/Style_sheets.cpp: Style::makeControlStyles",  # one half of that list
    "src/look/Style_sheets.cpp: Style::makePanelStyles",  # the other half
}

root = sys.argv[1]
TYPE = re.compile(r"^\s*(template\s*<.*>\s*)?(const |static )*(class|struct|union|enum|namespace|extern)\b")
NAME = re.compile(r"([~\w:]+(?:operator\W+)?)\s*\(")


def functions(lines):
    """Name and length of each function whose brace stands on a line of its own, as clang-format writes it."""
    for number, line in enumerate(lines):
        if line.strip() != "{":
            continue
        indent = line[:len(line) - len(line.lstrip())]
        first = number
        while first > 0 and lines[first - 1].startswith(indent) and not re.search(r"([;{}]|^\s*//.*|^\s*#.*|\w:)$|^$",
                                                                                 lines[first - 1]):
            first -= 1
        head = " ".join(each.strip() for each in lines[first:number])
        if not head or TYPE.match(head) or "(" not in head:
            continue
        end = next((n for n in range(number + 1, len(lines)) if re.match(rf"{indent}\}}", lines[n])), number)
        name = NAME.search(head)
        yield (name.group(1) if name else head), end - number - 1


problems = []
files = rules.tracked(root, "src/*.h", "src/*.cpp", "om_tiv/*.h", "om_tiv/*.cpp")
found = {}
count = 0
for path in files:
    lines = rules.read(root, path).split("\n")
    found[path] = (len(lines) - 1, FILE_LINES)
    for name, length in functions(lines):
        count += 1
        place = f"{path}: {name}"
        found[place] = (max(length, found.get(place, (0, 0))[0]), FUNCTION_LINES)
for place, (length, limit) in found.items():
    if place in TABLES:
        if length <= limit:
            problems.append(f"{place}: {length} lines need no exception any more")
    elif length > limit:
        problems.append(f"{place}: {length} lines are more than {limit}")
problems += [f"{place}: no such place for an exception" for place in TABLES if place not in found]
if count < 1000:
    problems.append(f"only {count} functions found: the check does not see them")
rules.end(problems, len(files))
