#!/usr/bin/env python3
"""Checks the text of all files. Reads file names from standard input, one a line.

The tree speaks for itself: it does not refer to documents that a reader of it does not have, and it holds no notes of
work left undone.
"""
import re
import sys

LONG_FILE_LINES = 500
CODE = (".cpp", ".h", ".py", ".sh")
COLUMNS = 120
TABLE_ROW = re.compile(r"^[ */]*\|")

# Patterns are written so that they do not find themselves.
RULES = [
    (re.compile(r"[ \t]+$"), "blanks at the end of the line"),
    (re.compile(r"\bspecif[i]cations?\b", re.IGNORECASE), "a word for a document that is not part of the tree"),
    (re.compile(r"\b(the|per|by|see|our) spe[c]\b", re.I), "a word for a document that is not part of the tree"),
    (re.compile(r"\bPar[t] [0-9]+\.[0-9]+\b", re.IGNORECASE), "a reference to a document that is not part of the tree"),
    (re.compile(r"\bissu[e] #?[0-9]+\b", re.IGNORECASE), "a reference to a list that is not part of the tree"),
    (re.compile(r"\b(TO[D]O|FIXM[E]|XX[X]|HAC[K])\b|\bnot implemente[d]\b"), "unfinished work"),
    (re.compile(r"^(<{7}|>{7}) "), "an unresolved merge"),
]


def findings(path, lines):
    for number, line in enumerate(lines, 1):
        # clang-format leaves comments as they are, so that hand-made tables and hanging indents survive.
        if len(line) > COLUMNS and path.endswith(CODE) and not TABLE_ROW.match(line):
            yield f"{path}:{number}: {len(line)} columns, more than {COLUMNS}"
        for pattern, reason in RULES:
            if pattern.search(line):
                yield f"{path}:{number}: {reason}: {line.strip()[:100]}"
    if lines and lines[-1] == "":
        yield f"{path}:{len(lines)}: an empty line at the end of the file"


def check(path):
    with open(path, "rb") as file:
        content = file.read()
    if b"\0" in content or not content:
        return []
    try:
        lines = content.decode("utf-8").split("\n")
    except UnicodeDecodeError as error:
        return [f"{path}:1: not UTF-8: {error.reason}"]
    if lines.pop() != "":
        return [f"{path}:{len(lines) + 1}: no newline at the end of the file"]
    if path.endswith(CODE) and len(lines) > LONG_FILE_LINES:
        print(f"{path}: note: {len(lines)} lines; does it still hold one thing?", file=sys.stderr)
    return list(findings(path, lines))


def main():
    found = [finding for path in sys.stdin.read().splitlines() for finding in check(path)]
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


sys.exit(main())
