"""The files that name the last release agree in its version and date, and CHANGELOG.md has the form of Keep a
Changelog."""

import email.utils
import re
import sys

import rules

root = sys.argv[1]
CHANGELOG = "CHANGELOG.md"
DEBIAN = "packaging/debian/changelog"
METAINFO = "packaging/io.github.gravimon.gravimon.metainfo.xml"
KINDS = {"Added", "Changed", "Deprecated", "Removed", "Fixed", "Security"}
problems = []

text = rules.read(root, CHANGELOG)
headings = re.findall(r"^## (.*)$", text, re.M)
if headings[:1] != ["[Unreleased]"]:
    problems.append(f"{CHANGELOG}: its first section is not [Unreleased]")
releases = [re.fullmatch(r"\[(\d+\.\d+\.\d+)\] - (\d{4}-\d{2}-\d{2})", heading) for heading in headings[1:]]
if not all(releases):
    problems.append(f"{CHANGELOG}: a heading is not \"[MAJOR.MINOR.PATCH] - YYYY-MM-DD\": {headings[1:]}")
for kind in re.findall(r"^### (.*)$", text, re.M):
    if kind not in KINDS:
        problems.append(f"{CHANGELOG}: '{kind}' is none of {', '.join(sorted(KINDS))}")
if not releases or not releases[0]:
    problems.append(f"{CHANGELOG}: no release")
    rules.end(problems, 1)

last = releases[0].groups()
version = re.search(r"^project\(gravimon VERSION (\S+)", rules.read(root, "CMakeLists.txt"), re.M).group(1)
if version != last[0]:
    problems.append(f"CMakeLists.txt: the project has the version {version}, {CHANGELOG} {last[0]}")
debian = rules.read(root, DEBIAN)
date = email.utils.parsedate_to_datetime(re.search(r"^ -- .*>  (.*)$", debian, re.M).group(1)).date().isoformat()
release = re.search(r'<release version="([^"]*)" date="([^"]*)"', rules.read(root, METAINFO)).groups()
found = {DEBIAN: (re.match(r"gravimon \((.*)-\d+\)", debian).group(1), date), METAINFO: release}
problems += [f"{path}: the last release is {' of '.join(pair)}, {CHANGELOG} has {' of '.join(last)}"
             for path, pair in found.items() if pair != last]
manuals = rules.tracked(root, "packaging/man/*.1")
for path in manuals:
    if f'"Gravimon {last[0]}"' not in rules.read(root, path).splitlines()[0]:
        problems.append(f"{path}: its title has not the version {last[0]}")
rules.end(problems, len(manuals) + 4)
