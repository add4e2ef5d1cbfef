#!/usr/bin/env bash
# checks layout, layers, headers, wording, scripts and code
#
# usage: ./run lint [--fix] [CHECK...]
#
#   --fix     lays the code out with clang-format and fills the guide's code blocks first
#   format    C++ files are laid out as .clang-format says
#   layers    no include against the arrows of docs/architecture.md
#   headers   each public header compiles alone, in every language it is for
#   text      blanks at line ends, long lines, unfinished work, words that do not belong here; tells of very long files;
#             code blocks of the guide that are not those of the examples
#   scripts   shellcheck
#   abi       the binary interface is the last release's
#   tidy      clang-tidy; a file is looked at again only when something that it includes has changed
#
# Without a CHECK all of them run. Looks at files that git knows or would add. Findings are FILE:LINE messages; exits
# non-zero when there is one.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

# Files that git knows or would add, as far as they are there; patterns as git takes them.
tracked() {
  git ls-files --cached --others --exclude-standard --deduplicate -- "$@" | while read -r file; do
    [[ ! -f $file ]] || echo "$file"
  done
}

check_format() {
  tracked '*.cpp' '*.h' | xargs -r clang-format-14 --dry-run -Werror
}

check_layers() { python3 scripts/lint/layers.py < <(tracked '*.cpp' '*.h'); }

check_headers() { bash scripts/lint/headers.sh; }

# The fuzz corpus is inputs, not text of ours.
check_text() {
  local status=0
  python3 scripts/lint/text.py < <(tracked ':(exclude)fuzz/corpus') || status=1
  python3 scripts/lint/guide.py || status=1
  return "$status"
}

check_scripts() {
  tracked | xargs -r grep -lE '^#!.*\b(bash|sh)$|^# shellcheck shell=' |
    xargs -r shellcheck --external-sources --source-path=SCRIPTDIR --format=gcc
}

# In a build directory of its own, without precompiled headers: clang-tidy cannot read another compiler's.
check_tidy() {
  configure tidy
  python3 scripts/lint/tidy.py build/tidy < <(tracked '*.cpp')
}

check_abi() { ./run abi; }

all=(format layers headers text scripts abi tidy)
chosen=()
fix=false
for argument in "$@"; do
  case $argument in
    --fix) fix=true ;;
    format | layers | headers | text | scripts | abi | tidy) chosen+=("$argument") ;;
    *) usage_error "lint does not know '$argument'" ;;
  esac
done
((${#chosen[@]} > 0)) || chosen=("${all[@]}")

./run setup --lint
git rev-parse --git-dir >/dev/null || die "lint takes the list of files from git; this is no git checkout"
if $fix; then
  tracked '*.cpp' '*.h' | xargs -r clang-format-14 -i
  python3 scripts/lint/guide.py --fill >/dev/null || true # What it cannot mend the check tells.
fi

failed=()
for check in "${chosen[@]}"; do
  say "checking $check"
  "check_$check" || failed+=("$check")
done
((${#failed[@]} == 0)) || die "lint found something in: ${failed[*]}"
say "lint is clean"
