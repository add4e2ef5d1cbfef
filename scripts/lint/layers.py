#!/usr/bin/env python3
"""Holds the include arrows between the layers. Reads file names from standard input, one a line.

Internal headers of src/ stand in a subsystem each, and the arrows between subsystems are those of `ALLOWED`. The public
headers in include/ are open to all of src/: a subsystem may call another's exported functions as any caller may.
"""
import os
import re
import sys

# A layer and what its files may include besides their own layer's files and headers of other packages.
ALLOWED = {
    "platform/include": set(),
    "include": {"platform/include"},
    "src/base": {"include", "platform/include"},
    "src/log": {"include", "platform/include", "src/base"},
    "src/msg": {"include", "platform/include", "src/base", "src/log"},
    "src/util": {"include", "platform/include", "src/base", "src/log"},
    "src/xml": {"include", "platform/include", "src/base", "src/log"},
    "src/config": {"include", "platform/include", "src/base", "src/log", "src/msg", "src/util", "src/xml"},
    "src/cert": {"include", "platform/include", "src/base", "src/log", "src/msg", "src/util", "src/xml"},
    "platform/host/include": {"platform/include"},
    "platform/host": {"platform/host/include", "platform/include"},
    "demo": {"include", "platform/include", "platform/host/include"},
    "soak": {"include", "platform/include", "platform/host/include"},
    "tools": {"include", "platform/include", "platform/host/include"},
    "examples": {"include", "platform/include", "platform/host/include"},
}

# Where "x/y.h" is looked for when it does not stand beside the including file; the layer's own root comes first.
ROOTS = ["include", "platform/include", "platform/host/include", "src", "platform/host"]

INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^">]+)[">]')


def layer_of(path):
    """The longest layer name that is a folder above the file, or None for files without rules (tests, benchmarks,
    fuzz targets)."""
    fitting = [layer for layer in ALLOWED if path.startswith(layer + "/")]
    return max(fitting, key=len, default=None)


def resolve(path, name):
    """The project's file that an include means, or None for one of another package."""
    own_root = [root for root in ROOTS if path.startswith(root + "/")]
    places = [os.path.dirname(path)] + sorted(own_root, key=len, reverse=True) + ROOTS
    for place in places:
        candidate = os.path.normpath(os.path.join(place, name))
        if os.path.isfile(candidate):
            return candidate
    return None


def findings(path):
    layer = layer_of(path)
    if layer is None:
        if path.startswith(("src/", "platform/", "include/")):
            yield f"{path}:1: stands in no layer that scripts/lint/layers.py knows"
        return
    with open(path, encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            match = INCLUDE.match(line)
            target = resolve(path, match.group(1)) if match else None
            if target is None:
                continue
            target_layer = layer_of(target)
            if target_layer != layer and target_layer not in ALLOWED[layer]:
                yield f"{path}:{number}: {layer} may not include {target}"


def main():
    found = [finding for path in sys.stdin.read().splitlines() for finding in findings(path)]
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


sys.exit(main())
