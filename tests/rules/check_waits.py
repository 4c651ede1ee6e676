"""Tests wait for what comes, never for time to pass: no sleep, and no wait without an end. tests/support/waiting.h,
tests/support/sidethread.h and tests/e2e/waiting.py have what takes their place."""

import re
import sys

import rules

root = sys.argv[1]

# What is looked for: files, pattern, and what to do in its place.
CPP = ("*.h", "*.cpp", "*.c")
PYTHON = ("*.py",)
SHELL = ("run-*",)
WAITS = (
    ("sleep", CPP, r"\bq?[mu]?[sS]leep\s*\(|\bsleep_(?:for|until)\b|\b(?:clock_)?nanosleep\s*\(|\bqWait\s*\(",
     "wait for a state: QTRY_VERIFY, waiting::waitFor() or a hook; or step the bench's clock"),
    ("spin", CPP, r"(?<!\} )\bwhile\s*\([^{};]*\)\s*(?:;|\{\s*\}|\{?\s*(?:std::this_thread::yield|QThread::\w+)\()",
     "waiting::waitFor() has an end"),
    ("endless wait", CPP, r"(?:\.|->)\s*(?:acquire|wait|waitFor(?:Started|Finished|ReadyRead|BytesWritten))\s*\(\s*\)",
     "waiting::acquire(), or a limit of waiting::patienceMs"),
    ("own limit", CPP, r"\bQTRY_\w+_WITH_TIMEOUT\b", "QTRY_VERIFY and its kin wait as long as all others"),
    ("unjoined thread", CPP, r"\bstd::thread\s+\w+\s*[({]", "SideThread is joined also where a check has failed"),
    ("sleep", PYTHON, r"\bsleep\s*\(|[\"']sleep[\"']", "wait_for() a state, or step the bench's clock"),
    ("endless wait", PYTHON, r"\.(?:wait|communicate)\(\s*\)|\w*thread\w*\.join\(\s*\)", "give it a limit of world.PATIENCE"),
    ("sleep", SHELL, r"^[^#\n]*\bsleep\b", "wait for a state"),
)

# File, kind, how many, and why there.
EXCEPTIONS = (
    ("tests/support/patience.h", "sleep", 1, "between two looks of QTRY_VERIFY and its kin"),
    ("tests/support/waiting.h", "sleep", 1, "between two looks of waitFor()"),
    ("tests/e2e/waiting.py", "sleep", 1, "between two looks of wait_for()"),
    ("tests/support/qtcalls.cpp", "sleep", 2, "the definitions that stand before Qt's own"),
    ("tests/camera/tst_inputthread_loop.cpp", "sleep", 1, "the definition that stands before the C library's own"),
    ("tests/support/late_threads.c", "sleep", 1, "lets threads begin and end late"),
    ("tests/support/tst_late_threads.cpp", "sleep", 1, "the definition that stands before the C library's own"),
    ("tests/tools/test_setup.py", "sleep", 1, "takes the place of the command that the script calls"),
    ("tests/gpu/tst_ogl2dwidget.cpp", "spin", 1, "takes the errors that OpenGL keeps, of which it has a few"),
    ("tests/calibration/pictures.cpp", "sleep", 2, "makes pictures of the documents, and is no test"),
    ("tests/e2e/bench_hand.py", "sleep", 5, "the pace of a hand on the mouse, which the window measures"),
    ("tests/e2e/screen.py", "sleep", 1, "a popup list ignores a release within the double click time; more time does no harm"),
)

problems = []
checked = set()
found = {}
for kind, patterns, expression, instead in WAITS:
    expression = re.compile(expression, re.MULTILINE)
    for path in rules.tracked(root, *(f"tests/{p}" for p in patterns), *(f"tests/**/{p}" for p in patterns)):
        if path.startswith("tests/rules/"):
            continue
        checked.add(path)
        # Comments go, line breaks stay.
        text = rules.read(root, path)
        if patterns is CPP:
            text = re.sub(r"//[^\n]*", "", text)
        for match in expression.finditer(text):
            line = text.count("\n", 0, match.start()) + 1
            found.setdefault((path, kind), []).append(f"{path}:{line}: {kind}: {' '.join(match.group(0).split())}: {instead}")
for path, kind, count, reason in EXCEPTIONS:
    lines = found.pop((path, kind), [])
    if len(lines) != count:
        problems.append(f"{path}: {len(lines)} times '{kind}', {count} expected ({reason})")
        problems += lines
for lines in found.values():
    problems += lines
rules.end(problems, len(checked))
