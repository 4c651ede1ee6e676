"""Menu entries and AppStream data are valid without a remark, fit the programs, and name files that exist."""

import os
import subprocess
import sys
import xml.etree.ElementTree

import rules

root = sys.argv[1]
METAINFO = "packaging/io.github.gravimon.gravimon.metainfo.xml"
# Written once here and checked in all entries: the platform is chosen where only a Wayland compositor runs.
EXEC = (r'sh -c "case \\$DISPLAY/\\$QT_QPA_PLATFORM/\\$WAYLAND_DISPLAY in //?*) export QT_QPA_PLATFORM=wayland;; esac; '
        'exec {name}"')
SHORT = 35  # characters of a summary that software centres show in one line
entries = rules.tracked(root, "packaging/*.desktop")
problems = []


def run(*command):
    result = subprocess.run(command, cwd=root, capture_output=True, text=True, check=False,
                            env={**os.environ, "LC_ALL": "C.UTF-8"})
    return result.returncode, [line for line in (result.stdout + result.stderr).splitlines() if line.strip()]


for entry in entries:
    status, lines = run("desktop-file-validate", entry)
    problems += lines or ([f"{entry}: desktop-file-validate ended with {status}"] if status else [])
    keys = dict(line.split("=", 1) for line in rules.read(root, entry).splitlines() if "=" in line)
    name = os.path.basename(entry)[:-len(".desktop")]
    # Qt's window class is the program's name; the programs set the entry's name for Wayland.
    for key, expected in (("Exec", EXEC.format(name=name)), ("StartupWMClass", name)):
        if keys.get(key) != expected:
            problems.append(f"{entry}: {key} is {keys.get(key)!r} instead of {expected!r}")
    if not os.path.exists(os.path.join(root, "packaging", keys.get("Icon", "") + ".svg")):
        problems.append(f"{entry}: no icon {keys.get('Icon')!r} in packaging/")

# The last line is the summary.
status, lines = run("appstreamcli", "validate", "--pedantic", "--no-net", METAINFO)
problems += lines[:-1] or ([f"{METAINFO}: {lines}"] if status else [])

data = xml.etree.ElementTree.fromstring(rules.read(root, METAINFO))
identity = data.findtext("id")
if os.path.basename(METAINFO) != f"{identity}.metainfo.xml":
    problems.append(f"{METAINFO}: the component's id is {identity}")
summary = data.findtext("summary")
if len(summary) > SHORT:
    problems.append(f"{METAINFO}: the summary has {len(summary)} characters, more than {SHORT}")
launchable = data.findtext("launchable")
if f"packaging/{launchable}" not in entries:
    problems.append(f"{METAINFO}: no desktop entry {launchable}")
release = data.find("releases/release")
if not "".join(release.itertext()).strip():
    problems.append(f"{METAINFO}: no notes of the release {release.get('version')}")
for element in ("branding/color", "content_rating", "developer_name"):
    if data.find(element) is None:
        problems.append(f"{METAINFO}: no {element}")
shots = data.findall("screenshots/screenshot")
if len(shots) < 2:
    problems.append(f"{METAINFO}: {len(shots)} screenshots")
for shot in shots:
    image = shot.find("image")
    picture = f"docs/images/{os.path.basename(image.text)}"
    if not shot.findtext("caption"):
        problems.append(f"{METAINFO}: no caption of {picture}")
    if not os.path.exists(os.path.join(root, picture)):
        problems.append(f"{METAINFO}: no picture {picture}")
        continue
    with open(os.path.join(root, picture), "rb") as file:
        header = file.read(24)
    size = tuple(int.from_bytes(header[at:at + 4], "big") for at in (16, 20))
    if size != (int(image.get("width")), int(image.get("height"))):
        problems.append(f"{METAINFO}: {picture} has {size[0]} x {size[1]} pixels")
rules.end(problems, len(entries) + 1)
