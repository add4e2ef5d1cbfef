#!/usr/bin/env python3
"""Holds the code blocks of the user's guide to the examples: guide.py [--fill].

A fenced block in docs/guide/ stands behind a comment that names a region of a file in examples/guide/:

    <!-- example: call.cpp handler -->

The region lies between lines that hold nothing but "[handler]" and "[/handler]" behind a comment sign. The block must
be the region, less its common indent; each region must be shown somewhere. With --fill the blocks are written anew.
"""
import pathlib
import re
import sys
import textwrap

EXAMPLES = pathlib.Path("examples/guide")
GUIDE = pathlib.Path("docs/guide")
BEGIN = re.compile(r"^\s*(?://|#) \[([a-z-]+)\]$")
END = re.compile(r"^\s*(?://|#) \[/([a-z-]+)\]$")
NAMED = re.compile(r"^<!-- example: (\S+) (\S+) -->$")
FENCE = re.compile(r"^```")


def regions_of(path):
    """The file's regions by name; a line of text that says what is wrong instead of a region that has no end."""
    regions, name, lines = {}, None, []
    for line in path.read_text(encoding="utf-8").splitlines():
        begin, end = BEGIN.match(line), END.match(line)
        if begin and name is None and begin.group(1) not in regions:
            name, lines = begin.group(1), []
        elif end and end.group(1) == name:
            regions[name] = textwrap.dedent("\n".join(lines)).splitlines()
            name = None
        elif begin or end:
            raise ValueError(f"{path}: the region {(begin or end).group(1)} begins twice or ends elsewhere")
        elif name is not None:
            lines.append(line)
    if name is not None:
        raise ValueError(f"{path}: the region {name} has no end")
    return regions


def all_regions():
    return {(path.name, name): lines
            for path in sorted(EXAMPLES.iterdir()) if path.is_file()
            for name, lines in regions_of(path).items()}


class Page:
    """A page's lines, its findings, and the same lines with every block as its region says."""

    def __init__(self, path, regions):
        self.path, self.regions = path, regions
        self.findings, self.filled, self.shown = [], [], set()
        lines = path.read_text(encoding="utf-8").splitlines()
        number = 0
        while number < len(lines):
            self.filled.append(lines[number])
            if FENCE.match(lines[number]):
                number = self.block(lines, number)
            number += 1

    def block(self, lines, start):
        """Looks at the block that opens in line `start`; the number of the line that closes it."""
        end = next((i for i in range(start + 1, len(lines)) if lines[i] == "```"), len(lines) - 1)
        held = lines[start + 1:end]
        named = NAMED.match(lines[start - 1]) if start else None
        key = named.groups() if named else None
        wanted = self.regions.get(key)
        if wanted is None:
            what = f"there is no region {' '.join(key)}" if key else "a block that names no region"
            self.findings.append(f"{self.path}:{start + 1}: {what}")
        elif wanted != held:
            self.findings.append(f"{self.path}:{start + 1}: differs from {EXAMPLES}/{key[0]} [{key[1]}]; "
                                 "python3 scripts/lint/guide.py --fill writes it anew")
        self.shown.add(key)
        self.filled += (held if wanted is None else wanted) + ["```"]
        return end


def main():
    try:
        regions = all_regions()
    except ValueError as error:
        print(error)
        return 1
    pages = [Page(path, regions) for path in sorted(GUIDE.glob("*.md"))]
    if "--fill" in sys.argv[1:]:
        for page in pages:
            page.path.write_text("\n".join(page.filled) + "\n", encoding="utf-8")
        pages = [Page(page.path, regions) for page in pages]
    findings = [finding for page in pages for finding in page.findings]
    shown = set().union(*(page.shown for page in pages))
    findings += [f"{EXAMPLES}/{file}: no page shows the region {name}"
                 for file, name in regions if (file, name) not in shown]
    print("\n".join(findings), end="\n" if findings else "")
    return 1 if findings else 0


sys.exit(main())
