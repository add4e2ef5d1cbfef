#!/usr/bin/env python3
"""Runs clang-tidy over the project's C++ files: tidy.py BUILD_DIRECTORY, file names from standard input, one a line.

A clean run of a file is remembered in .cache/lint/tidy with the state of everything it depends on: its compile command,
the checks, and all files that it includes. As long as none of these changes, the file is not looked at again.

A source that no target compiles is a finding too: somebody forgot to list it.
"""
import concurrent.futures
import functools
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys

CACHE = ".cache/lint/tidy"
COMPILED = ("src/", "platform/", "demo/", "tools/", "soak/", "tests/", "examples/guide/")
TIDY = "clang-tidy-14"
COMPILER = re.compile(r"(^|/)(c|g|clang)(\+\+|cc)?(-\d+)?$")


@functools.lru_cache(maxsize=None)
def state_of(path):
    """What tells a changed file from an unchanged one; files of other packages change only when they are installed."""
    if os.path.isabs(path) and not path.startswith(os.getcwd() + os.sep):
        status = os.stat(path)
        return f"{status.st_size} {status.st_mtime_ns}"
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


def compile_commands(build):
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        return {os.path.relpath(entry["file"]): entry for entry in json.load(file)}


def dependencies(entry):
    """All files that the entry's source includes, itself first."""
    words = shlex.split(entry["command"])
    compiler = next(index for index, word in enumerate(words) if COMPILER.search(word))
    words = words[compiler:]
    output = words.index("-o")
    command = words[:output] + words[output + 2:] + ["-M"]
    rule = subprocess.run(command, cwd=entry["directory"], check=True, capture_output=True, text=True).stdout
    names = rule.split(":", 1)[1].replace("\\\n", " ").split()
    return [os.path.join(entry["directory"], name) for name in names]


def configurations(path):
    """The files that say what is checked, from the source's folder upwards."""
    folder = os.path.dirname(path)
    while folder:
        yield os.path.join(folder, ".clang-tidy")
        folder = os.path.dirname(folder)
    yield ".clang-tidy"


def fingerprint(path, entry, included):
    files = [name for name in configurations(path) if os.path.isfile(name)] + included
    digest = hashlib.sha256()
    for text in (VERSION, entry["command"], *(f"{name} {state_of(name)}" for name in files)):
        digest.update(text.encode() + b"\n")
    return digest.hexdigest()


def memory_of(path):
    return os.path.join(CACHE, path.replace("/", "%") + ".json")


def known_clean(path, entry):
    try:
        with open(memory_of(path), encoding="utf-8") as file:
            memory = json.load(file)
        return memory["fingerprint"] == fingerprint(path, entry, memory["dependencies"])
    except (OSError, ValueError, KeyError):
        return False


def check(path, entry, build):
    """Messages about a file; empty when it is clean."""
    if known_clean(path, entry):
        return ""
    run = subprocess.run([TIDY, "--quiet", "-p", build, path], capture_output=True, text=True, check=False)
    if run.returncode != 0 or run.stdout.strip():
        return run.stdout.replace(os.getcwd() + os.sep, "") or f"{path}:1: {TIDY} failed\n{run.stderr}"
    included = dependencies(entry)
    with open(memory_of(path), "w", encoding="utf-8") as file:
        json.dump({"fingerprint": fingerprint(path, entry, included), "dependencies": included}, file)
    return ""


def main():
    build = sys.argv[1]
    commands = compile_commands(build)
    named = sys.stdin.read().splitlines()
    paths = [path for path in named if path in commands]
    forgotten = [path for path in named if path not in commands and path.startswith(COMPILED)]
    for path in forgotten:
        print(f"{path}:1: no target compiles this file")
    os.makedirs(CACHE, exist_ok=True)
    failed = bool(forgotten)
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        checks = [pool.submit(check, path, commands[path], build) for path in paths]
        for number, done in enumerate(concurrent.futures.as_completed(checks), 1):
            if sys.stderr.isatty():
                print(f"\r{number}/{len(checks)}", end="\n" if number == len(checks) else "", file=sys.stderr)
            if done.result():
                failed = True
                print(done.result(), flush=True)
    return 1 if failed else 0


VERSION = subprocess.run([TIDY, "--version"], capture_output=True, text=True, check=True).stdout
sys.exit(main())
