#!/usr/bin/env bash
# check_symbols.sh LIBRARY EXPORTED_LIST PLATFORM_HEADERS
# The library defines exactly the listed names, no platform name among them, and leaves undefined only what the platform
# headers declare or the libraries that it is linked with define. NM, READELF and CXX are those of its architecture.
set -euo pipefail
library=$1 listed=$2 headers=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C

"$NM" -D --defined-only --format=posix "$library" | awk '$2 != "A" {sub(/@.*/, "", $1); print $1}' |
  sort -u >"$work/defined"
grep -v '^#' "$listed" | grep . | sort -u >"$work/listed"
if ! diff -u "$work/listed" "$work/defined"; then
  echo "the exported names differ from $listed (-: missing, +: too many)" >&2
  exit 1
fi

# Names declared in the platform headers: an identifier directly before a parenthesis at the start of a declaration.
sed -nE 's/^[A-Za-z][A-Za-z0-9_ *]*[ *]([A-Za-z0-9_]+)\(.*/\1/p' "$headers"/*.h | sort -u >"$work/platform"
if comm -12 "$work/platform" "$work/defined" | grep .; then
  echo "these platform names are defined in the library; they must stay undefined" >&2
  exit 1
fi

# A name with a version (@LIBC_2.x) comes from a linked library; one without must come from one or from the platform.
"$NM" -D --undefined-only --format=posix "$library" |
  awk '$2 == "U" && $1 !~ /@/ {print $1}' | sort -u >"$work/undefined"
"$READELF" --dynamic "$library" | sed -nE 's/.*\(NEEDED\).*\[(.*)\]$/\1/p' | while read -r needed; do
  "$NM" -D --defined-only --format=posix "$("$CXX" -print-file-name="$needed")" | awk '{sub(/@.*/, "", $1); print $1}'
done | sort -u >"$work/linked"
if comm -23 "$work/undefined" <(sort -u "$work/platform" "$work/linked") | grep .; then
  echo "these undefined names are neither in the platform headers nor in a linked library" >&2
  exit 1
fi
