"""Links in the documents have targets, the README fits two screens and links the index, which links all documents, and
the commands of om-bench in them exist."""

import os
import re
import sys

import rules

root = sys.argv[1]
SOURCE = "om_tiv/tools/command_line.cpp"
GUIDE = "docs/bench-guide.md"
INDEX = "docs/README.md"
MANUAL = "packaging/man/om-bench.1"
COMPLETION = "packaging/completion/om-bench"
TWO_SCREENS = 80  # lines
LINK = re.compile(r"\[[^\]\n]*(?:\n[^\]\n]*)?\]\(([^)\s]+)\)")

documents = rules.tracked(root, "*.md")
known = set(rules.tracked(root, "*"))
texts = {path: rules.read(root, path) for path in documents}


def without_code(text):
    """The text with code blocks and spans blanked, line by line."""
    text = re.sub(r"^```.*?^```$", lambda m: re.sub(r"[^\n]", " ", m.group(0)), text, flags=re.M | re.S)
    text = re.sub(r"^(?: {4}|\t).*$", "", text, flags=re.M)
    return re.sub(r"`[^`\n]*`", lambda m: " " * len(m.group(0)), text)


def anchors(text):
    """The anchors of the headings, as the usual viewers make them."""
    headings = re.findall(r"^#+ +(.*)$", re.sub(r"^```.*?^```$", "", text, flags=re.M | re.S), re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


problems = []
links = 0
for path, text in texts.items():
    for match in LINK.finditer(without_code(text)):
        target, _, anchor = match.group(1).partition("#")
        if re.match(r"[a-z]+:", target):
            continue
        links += 1
        where = f"{path}:{text.count(chr(10), 0, match.start()) + 1}"
        file = os.path.normpath(os.path.join(os.path.dirname(path), target)) if target else path
        if file not in known and not any(name.startswith(file.rstrip("/") + "/") for name in known):
            problems.append(f"{where}: {match.group(1)}: no such file")
        elif anchor and anchor not in anchors(texts.get(file, "")):
            problems.append(f"{where}: {match.group(1)}: no such heading")
readme = texts.get("README.md", "")
index = texts.get(INDEX, "")
if f"({INDEX})" not in readme:
    problems.append(f"README.md: no link to {INDEX}")
problems += [f"{INDEX}: no link to {path}" for path in documents if path.startswith("docs/") and path != INDEX
             and not re.search(rf"\({re.escape(path[len('docs/'):])}[#)]", index)]
if not re.search(r"!\[[^\]]+\]\(docs/images/", readme.split("\n## ")[0]):
    problems.append("README.md: it does not open with a picture")
if readme.count("\n") > TWO_SCREENS:
    problems.append(f"README.md: {readme.count(chr(10))} lines do not fit two screens of {TWO_SCREENS // 2}")
pictured = {os.path.normpath(os.path.join(os.path.dirname(path), match.group(1)))
            for path, text in texts.items() for match in LINK.finditer(text)}
problems += [f"{path}: no document shows it" for path in sorted(known)
             if path.startswith("docs/images/") and path not in pictured]
if not links:
    problems.append("no relative link found: the check would pass without checking anything")

source = rules.read(root, SOURCE)
commands = set(re.findall(r'\b(?:command|add_subcommand)\(\s*"([a-z-]+)"', source))
if len(commands) < 10:
    problems.append(f"{SOURCE}: only {len(commands)} commands found")
for path, text in texts.items():
    code = re.findall(r"^(?: {4,}|\$ )(.*)$|`([^`\n]+)`", text, re.M)
    for line in (block or span for block, span in code):
        for name in re.findall(r"\bom-bench ((?:-\S+ )*)([a-z][a-z-]*)", line):
            if name[1] not in commands:
                problems.append(f"{path}: om-bench has no command {name[1]}")
guide = texts.get(GUIDE, "")
problems += [f"{GUIDE}: no example of om-bench {name}" for name in sorted(commands)
             if not re.search(rf"^\$ om-bench {name}\b", guide, re.M)]

manual = set(re.findall(r'^\.B[IR]* "?([a-z]+)', rules.read(root, MANUAL), re.M))
problems += [f"{MANUAL}: nothing on om-bench {name}" for name in sorted(commands - manual)]
completed = re.search(r"commands='([^']*)'", rules.read(root, COMPLETION))
for name in sorted(commands ^ set(completed.group(1).split() if completed else ())):
    problems.append(f"{COMPLETION}: {name} is completed and no command, or the other way round")

rules.end(problems, len(documents))
