#!/usr/bin/env bash
# run_example.sh NAME PROGRAMS LIBRARIES: runs an example in a host directory of its own.
#
# Runs NAME.sh, or the program NAME where there is none, with the folder PROGRAMS in the path and what stands in the
# folder LIBRARIES at hand. Where there is a NAME.out, standard output must be that text; numbers and the width of
# blanks may differ.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
name=$1
export PATH=$2:$PATH LIBRARIES=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TARN_HOST_DIR=$work/host TZ=UTC
cd "$work"

# What differs from run to run made alike: numbers, blanks, and the marks of regions that only NAME.out has.
alike() {
  sed -E -e '/^# \[.*\]$/d' -e 's/[0-9]+/N/g' -e 's/[[:blank:]]+/ /g' "$1"
}

if [[ -f $here/$name.sh ]]; then
  bash -euo pipefail "$here/$name.sh" >"$work/out"
else
  "guide_$name" >"$work/out"
fi
cat "$work/out"
if [[ -f $here/$name.out ]]; then
  diff -u --label expected --label printed <(alike "$here/$name.out") <(alike "$work/out")
fi
