"""Includes between folders go one way, hardware is reached only through its interfaces, and no window places the
image view."""

import re
import sys

import rules

root = sys.argv[1]

# What each folder of src/ may include of the others.
ALLOWED = {
    "analysis": {"analysis"},
    "exchange": {"exchange", "analysis", "files"},
    "report": {"report", "analysis"},
    "sensors": {"sensors"},
    "look": {"look"},
    "process": {"process"},
    "version": {"version"},
    "files": {"files"},
    "terminal": {"terminal"},
    "closing": {"closing"},
    "desktop": {"desktop"},
    "camera": {"camera"},
    "charts": {"charts", "look"},
    "gpu": {"gpu", "camera"},
    "recording": {"recording", "look", "files"},
    "calibration": {"calibration", "look"},
    "viewer": {"viewer", "sensors", "look", "closing", "desktop", "camera", "charts", "gpu", "recording",
               "calibration", "process"},
    "log": {"log", "analysis", "exchange", "report", "sensors", "recording", "process", "files", "terminal",
            "version"},
}
# What the program knows of the camera library beyond its interface.
USES_LIBRARY = {"camera", "gpu", "calibration", "viewer", "sensors", "log"}
LIBRARY = "src/camera/camera_library.h"
BEYOND_INTERFACE = re.compile(r"\bom::(?:[A-Z][A-Z_]*::[A-Z]\w*|SensorsData::\w+|_\w+|IMU\w+)|"
                              r"\b(?:_mag_calib_data|_imu_odr|IMUReaderData|IMUPose)\b")
WITHOUT_QT = ("src/analysis/", "src/exchange/", "src/process/", "src/files/", "src/sensors/", "src/calibration/mag_calib.",
              "src/calibration/orientcount.", "src/viewer/sample_clock.", "src/viewer/sensor_sample.",
              "src/viewer/chart_limits.", "src/viewer/shown_rate.", "src/report/model", "src/report/rest.",
              "src/report/series.", "src/report/verdicts", "src/report/number_text.", "src/report/json_file.",
              "src/report/yaml_file.")
# The folders of om_tiv/ beside its public interface, and what each may include of the others, by room or by header.
CLIENT = {"control/bench_client.h", "control/bench_path.h"}
ROOMS = {
    "include": set(),
    "values": set(),
    "base": set(),
    "world": {"base"},
    "replay": {"base", "world"},
    "bench": {"base", "world", "replay"},
    "control": {"base", "world", "bench"},
    "library": {"base", "world", "replay", "bench", "control"},
    # Programs of their own, which reach the bench over the socket only.
    "tools": {"base", "world", "replay", "bench/bench_file.h", "process/standard_descriptors.h",
              "version/gravimon_version.h"} | CLIENT,
    "window": {"base", "world"} | CLIENT | {"closing/close_signals.h", "desktop/identity.h",
                                            "process/standard_descriptors.h", "version/gravimon_version.h"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
QT = re.compile(r"^(Q[A-Z]|qwt_|Qt)")

problems = []
files = rules.tracked(root, "src/*.h", "src/*.cpp", "om_tiv/*.h", "om_tiv/*.cpp", "cuda_host/*.h",
                      "cuda_host/*.cpp")
for path in files:
    for kind, header in INCLUDE.findall(rules.read(root, path)):
        parts = path.split("/")
        # Without a folder the checks below would not see where it comes from. The build makes ui_*.h.
        if parts[0] != "cuda_host" and kind == '"' and "/" not in header and not header.startswith("ui_"):
            problems.append(f"{path}: {header} is included without its folder")
        if parts[0] == "src":
            folder = parts[1]
            if header.startswith("om_tiv/") and path != LIBRARY:
                problems.append(f"{path}: the program includes {header} through camera/camera_library.h only")
            target = header.split("/")[0]
            if header == LIBRARY[len("src/"):] and folder in USES_LIBRARY:
                continue
            if "/" in header and target in ALLOWED and target not in ALLOWED[folder]:
                problems.append(f"{path}: {folder}/ must not include {header}")
            if (target in set(ROOMS) | {"support"} or header.startswith("om_tiv/") and header.count("/") > 1
                    or header == "cuda_host.h"):
                problems.append(f"{path}: the program must not include {header}")
            if path.startswith(WITHOUT_QT) and QT.match(header):
                problems.append(f"{path}: what knows no Qt must not include {header}")
        elif parts[0] == "om_tiv":
            room, target = parts[1], header.split("/")[0]
            if room != "window" and QT.match(header):
                problems.append(f"{path}: the camera library must not include {header}")
            if target in set(ROOMS) | set(ALLOWED) and not {target, header} & (ROOMS[room] | {room}):
                problems.append(f"{path}: {room}/ must not include {header}")
        elif QT.match(header) or header.split("/")[0] in set(ALLOWED) | set(ROOMS) | {"om_tiv"}:
            problems.append(f"{path}: cuda_host must not include {header}")

COMMENT = re.compile(r"//.*")
for path in rules.tracked(root, "src/*.h", "src/*.cpp"):
    if path != LIBRARY:
        for name in BEYOND_INTERFACE.findall(COMMENT.sub("", rules.read(root, path))):
            problems.append(f"{path}: {name} is a name of the camera library that stands in {LIBRARY} only")

# The image view stands ready for a window to come: nothing in the program makes one.
IMAGE_VIEW = ("src/gpu/OGL2DWidget.h", "src/gpu/OGL2DWidget.cpp")
for path in rules.tracked(root, "src/*.h", "src/*.cpp", "src/*.ui"):
    if path not in IMAGE_VIEW and re.search(r"\bOGL2DWidget\b", rules.read(root, path)):
        problems.append(f"{path}: the program must not use OGL2DWidget")

for path in rules.tracked(root, "src/*.h", "om_tiv/*.h", "cuda_host/*.h", "tests/*.h"):
    text = rules.read(root, path)
    if "#pragma once" not in text:
        problems.append(f"{path}: no #pragma once")
    if re.search(r"^\s*using\s+namespace", text, re.M):
        problems.append(f"{path}: using namespace in a header")

rules.end(problems, len(files))
