"""Documents and comments use the field's usual words: literary or ambiguous ones are listed here with what to write
instead. Code, names and quotes are not checked."""

import re
import sys

import rules

root = sys.argv[1]
WORDS = {
    r"tells|told|telling": "reports, says, shows",
    r"mend|mends|mended|mending": "fix, repair",
    r"puts? up|putting up": "show, create",
    r"bears?": "accept, withstand",
    r"the lot": "all of them",
    r"stands? for|stood for": "means, represents",
    r"hands? on|handed on": "pass",
    r"in the hand|at hand": "by hand, available",
    r"(?:is|are|was|were) asked for": "is requested, is required",
    r"anew|afresh": "again",
    r"upon": "on",
    r"whence|thence|hence|thereof|thereby|lest|forthwith|amid|amidst": "a plain conjunction",
    r"for want of|in want of": "without, because there is no",
    r"counts? for nothing": "has no effect",
    r"(?<!there )is none": "is not one",
    r"unseen": "invisible, hidden",
}
WORD = re.compile(r"\b(?:" + "|".join(f"(?P<w{i}>{words})" for i, words in enumerate(WORDS)) + r")\b", re.I)
INSTEAD = list(WORDS.values())


def without_quotes(text):
    return re.sub(r'"[^"\n]*"', rules.blank, re.sub(r"`[^`]*`", rules.blank, text))


def document(text):
    """The prose of a document: no code and no targets of links."""
    text = re.sub(r"^```.*?^```$", rules.blank, text, flags=re.M | re.S)
    text = re.sub(r"^(?: {4}|\t).*$", rules.blank, text, flags=re.M)
    return without_quotes(re.sub(r"\]\([^)\s]*\)", rules.blank, text))


def cpp_comments(text):
    """The comments of a C++ file in their places."""
    kept = ["\n" if c == "\n" else " " for c in text]
    for match in rules.CPP_COMMENT_OR_QUOTE.finditer(text):
        if match.group(0).startswith("/"):
            kept[match.start():match.end()] = match.group(0)
    return without_quotes("".join(kept))


def hash_comments(text):
    """The comments of a script or a build file, and the documentation texts of Python."""
    kept = ["\n" if c == "\n" else " " for c in text]
    for match in re.finditer(r'(?:\A(?:#![^\n]*\n)?|:\n)\s*"""(?:[^"\\]|\\.|"(?!""))*"""|(?:^|\s)#[^\n]*', text):
        kept[match.start():match.end()] = match.group(0).replace('"""', "   ")
    return without_quotes("".join(kept))


KINDS = (
    (document, ("*.md", "packaging/man/*", "packaging/*.xml", "packaging/*.desktop")),
    (cpp_comments, rules.CPP_FILES),
    (hash_comments, ("*CMakeLists.txt", "*.cmake", "*.py", "*.supp", "run", "test", "tools/*", ".ci/run")),
)
problems = []
checked = 0
for prose, patterns in KINDS:
    for path in rules.tracked(root, *patterns):
        if path == "tests/rules/check_wording.py":
            continue
        checked += 1
        text = prose(rules.read(root, path))
        for match in WORD.finditer(text):
            line = text.count("\n", 0, match.start()) + 1
            problems.append(f"{path}:{line}: \"{match.group(0)}\": write {INSTEAD[int(match.lastgroup[1:])]}")
rules.end(problems, checked)
