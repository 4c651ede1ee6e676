"""The body of each if, else, for, while and do is in braces."""

import re
import sys

import rules

root = sys.argv[1]
KEYWORD = re.compile(r"\b(?:(if)(?:\s+constexpr)?|(for|while)|(else)|(do))\b")


def code(text):
    """The text without comments, quotes and the ends of continued lines, each character in its place."""
    blanked = rules.CPP_COMMENT_OR_QUOTE.sub(rules.blank, text)
    return re.sub(r"\\$", " ", blanked, flags=re.M)


def after_parentheses(text, start):
    """The place after the parentheses that open at start or after it."""
    depth = 0
    for match in re.compile(r"[()]").finditer(text, start):
        depth += 1 if match.group(0) == "(" else -1
        if depth == 0:
            return match.end()
    return len(text)


def bare_bodies(text):
    """The keyword and the place of each body without braces."""
    for match in KEYWORD.finditer(text):
        condition, loop, alternative, _ = match.groups()
        if text[text.rfind("\n", 0, match.start()) + 1:match.start()].strip() == "#":
            continue  # of the preprocessor
        end = after_parentheses(text, match.end()) if condition or loop else match.end()
        body = text[end:].lstrip()
        if body.startswith("{") or (alternative and re.match(r"if\b", body)):
            continue
        if loop == "while" and text[:match.start()].endswith("} "):
            continue  # the end of a do loop, as clang-format puts it
        yield match.group(0), match.start()


problems = []
bodies = 0
files = rules.tracked(root, *rules.CPP_FILES)
for path in files:
    text = code(rules.read(root, path))
    bodies += len(KEYWORD.findall(text))
    for keyword, place in bare_bodies(text):
        problems.append(f"{path}:{text.count(chr(10), 0, place) + 1}: the body of this {keyword} has no braces")
if bodies < 3000:
    problems.append(f"only {bodies} bodies found: the check does not see them")
rules.end(problems, len(files))
