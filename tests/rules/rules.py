"""Common code of the rule checks: the tracked files of a tree, and the end of a check."""

import os
import re
import subprocess
import sys

# The folders' C++ sources and headers.
CPP_FILES = ("src/*.h", "src/*.cpp", "om_tiv/*.h", "om_tiv/*.cpp", "cuda_host/*.h", "cuda_host/*.cpp",
             "bench/*.h", "bench/*.cpp", "tests/*.h", "tests/*.cpp")
# A comment, a string or a character of C++; the apostrophe in 1'000 begins none.
CPP_COMMENT_OR_QUOTE = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:[^"\\\n]|\\.)*"|'
                                  r"(?<![0-9A-Fa-f])'(?:[^'\\\n]|\\.)*'", re.S)


def blank(match):
    """Spaces in place of what was matched, on as many lines."""
    return re.sub(r"[^\n]", " ", match.group(0))


def tracked(root, *patterns):
    """Paths of the files git knows below root (tracked, or new and not ignored), relative to it."""
    if os.path.isdir(os.path.join(root, ".git")) or os.path.isfile(os.path.join(root, ".git")):
        listing = subprocess.run(
            ["git", "-C", root, "ls-files", "-z", "--cached", "--others", "--exclude-standard", "--", *patterns],
            check=False, capture_output=True, text=True)
        if listing.returncode:
            sys.exit(f"git ls-files ended with {listing.returncode}: {listing.stderr.strip()}")
        files = listing.stdout.split("\0")
    else:  # a source package without git
        import fnmatch
        files = []
        for folder, folders, names in os.walk(root):
            folders[:] = [f for f in folders if f not in ("build", ".git")]
            for name in names:
                path = os.path.relpath(os.path.join(folder, name), root)
                if any(fnmatch.fnmatch(path, p) for p in patterns):
                    files.append(path)
    files = [f for f in files if os.path.isfile(os.path.join(root, f))]
    if not files:
        sys.exit(f"no files match {patterns}: the check would pass without checking anything")
    return sorted(files)


def read(root, path):
    with open(os.path.join(root, path), encoding="utf-8") as file:
        return file.read()


def read_start(root, path):
    """The first bytes of any file, text or not."""
    with open(os.path.join(root, path), "rb") as file:
        return file.read(64).decode("utf-8", "replace")


def end(problems, checked):
    """Prints what is wrong and ends the process: 1 with problems, 0 without."""
    for problem in problems:
        print(problem)
    print(f"{checked} files checked, {len(problems)} problems")
    sys.exit(1 if problems else 0)
