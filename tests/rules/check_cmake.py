"""Build files name their sources, keep their settings to targets, and pass a path with blanks or an apostrophe as it is."""

import re
import sys

import rules

root = sys.argv[1]
FORBIDDEN = {
    r"file\s*\(\s*GLOB": "sources are listed, not globbed",
    r"^\s*(include_directories|link_directories|link_libraries|add_definitions|add_compile_options|"
    r"add_compile_definitions|add_link_options)\s*\(": "settings belong to targets",
    r"set\s*\(\s*CMAKE_CXX_FLAGS\b": "settings belong to targets",
    # CMake splits the text like a shell does.
    r'SHELL:(?:[^"\\$\n]|\\"(?:[^"\\\n]|\\[^"\n])*\\")*\$[{<].*': "a variable without quotation marks",
    # The loader takes a blank for the end of the path; LD_LIBRARY_PATH may have some.
    r"LD_PRELOAD=\$<TARGET_FILE:.*": "a path in LD_PRELOAD",
}
problems = []
files = rules.tracked(root, "*CMakeLists.txt", "*.cmake")
for path in files:
    text = rules.read(root, path)
    for pattern, reason in FORBIDDEN.items():
        for match in re.finditer(pattern, text, re.M):
            line = text.count("\n", 0, match.start()) + 1
            problems.append(f"{path}:{line}: {reason}: {match.group(0).strip()}")
rules.end(problems, len(files))
