#!/usr/bin/env python3
"""tool_words.py TOOL MAN_PAGE COMPLETION: holds a tool's manual and its bash completion to its own help.

Walks over all its commands by their help. Each command and option must stand in the manual, and completion must offer
exactly the subcommands and options that the help names.
"""
import os
import re
import subprocess
import sys

COMPLETE = r"""
source "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMPREPLY=()
_"$(basename "$1")" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
printf '%s\n' "${COMPREPLY[@]}"
"""


def run(*words):
    return subprocess.run(words, capture_output=True, text=True, check=True, stdin=subprocess.DEVNULL).stdout


def section(help_text, name):
    found = re.search(rf"^{name}:\n((?:.+\n)*)", help_text, re.MULTILINE)
    return re.findall(r"^  (\S+)", found.group(1), re.MULTILINE) if found else []


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


class Checks:
    def __init__(self, tool, manual, completion):
        self.tool, self.manual, self.completion = tool, read(manual), completion
        self.failures = []

    def offered(self, *words):
        name = os.path.basename(self.tool)
        return sorted(filter(None, run("bash", "-c", COMPLETE, "-", self.completion, name, *words).splitlines()))

    def expect(self, holds, what):
        if not holds:
            self.failures.append(what)

    def command(self, path):
        help_text = run(self.tool, *path, "--help")
        commands = section(help_text, "Subcommands")
        options = [option.split(",")[-1] for option in section(help_text, "Options")]
        self.expect(len(options) > 0, f"{path}: the help names no option; has its form changed?")
        self.expect(self.offered(*path, "-") == sorted(options), f"{path}: offers {self.offered(*path, '-')}")
        for option in options:
            told = re.search(rf"(Fl |\| ){option[1:]}(?![\w-])", self.manual)
            self.expect(told, f"{path}: the manual lacks {option}")
        if commands:
            self.expect(self.offered(*path, "") == sorted(commands), f"{path}: offers {self.offered(*path, '')}")
        elif path:
            told = re.search(rf"^\.It Cm {' '.join(path)}\b", self.manual, re.MULTILINE)
            self.expect(told, f"the manual does not tell of {path}")
        for command in commands:
            self.command([*path, command])


def main():
    tool, manual, completion = sys.argv[1:4]
    os.environ["PATH"] = os.path.dirname(tool) + ":" + os.environ["PATH"]
    checks = Checks(tool, manual, completion)
    checks.command([])
    if os.path.basename(tool) == "tarnctl":
        run(tool, "config", "set", "Conf.w.first", "1", "Conf.w.second", "2")
        checks.expect(checks.offered("config", "get", "Conf.w.f") == ["Conf.w.first"], "keys are not offered")
        checks.expect(checks.offered("config", "set", "Conf.w.first", "C") == [], "a key is offered for a value")
        checks.expect(checks.offered("config", "list", "") == ["Conf.w."], "prefixes are not offered")
        checks.expect("0x107" in checks.offered("cert", "install", "--cert", "a", ""), "types are not offered")
        checks.expect("0x107" in checks.offered("cert", "install", "--cert", "=", "a", ""), "--cert=a is an argument")
        checks.expect(checks.offered("cert", "install", "--cert", "0x") == [], "a type is offered for a file")
        run(tool, "config", "set", "Evil.$(touch${IFS}ran) a", "1")
        checks.expect(checks.offered("config", "get", "Ev") == [r"Evil.\$\(touch\$\{IFS\}ran\)\ a"], "quoted amiss")
        checks.expect(checks.offered("config", "get", '"Ev') == [], "a quote is no shelter from $()")
        checks.expect(not os.path.exists("ran"), "completion runs what a key says")
        run(tool, "config", "unset", "Evil.$(touch${IFS}ran) a")
    print("\n".join(checks.failures), end="\n" if checks.failures else "")
    return 1 if checks.failures else 0


sys.exit(main())
