"""Every C++ source of the tree is compiled, so that no source is forgotten."""

import json
import os
import sys

import rules

root, build = sys.argv[1:3]

# Sources that only some builds compile: the other variant of CUDA, tools of optional packages, what
# the sanitizers need.
OPTIONAL = ("cuda_host/", "tests/cuda_host/",
            "tests/support/kept_libraries.cpp", "tests/support/thread_local_block.cpp",
            "tests/support/tst_leak_check.cpp", "tests/support/tsan_qt.cpp")

with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
    compiled = {os.path.relpath(os.path.realpath(os.path.join(c["directory"], c["file"])), os.path.realpath(root))
                for c in json.load(file)}

files = rules.tracked(root, "src/*.cpp", "om_tiv/*.cpp", "cuda_host/*.cpp", "tests/*.cpp", "bench/*.cpp")
problems = [f"{path}: no target compiles it" for path in files
            if path not in compiled and not path.startswith(OPTIONAL)]
rules.end(problems, len(files))
