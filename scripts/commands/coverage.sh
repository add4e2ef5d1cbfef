#!/usr/bin/env bash
# runs the tests and shows what of the library they reach
#
# usage: ./run coverage [-R REGEX] [CTEST ARGUMENT...]
#
# Prints the lines and branches of each file of src/ that a test has gone through, the total, and the lines that none
# has. Branches that only an exception takes are left out. Arguments are handed to ctest. Exits non-zero when a test
# fails; the counters of the tests that ran are shown all the same.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

# report COUNTERS_CSV: a table of file, lines and branches, with the total.
report() {
  awk -F, '
    function row(name, lines, hit, branches, taken) {
      printf "%-34s %5d of %5d lines %5.1f %%  %5d of %5d branches %5.1f %%\n", name,
        hit, lines, lines ? 100 * hit / lines : 100, taken, branches, branches ? 100 * taken / branches : 100
    }
    NR == 1 { next }
    { row($1, $2, $3, $5, $6); lines += $2; hit += $3; branches += $5; taken += $6 }
    END { row("src/", lines, hit, branches, taken) }' "$1"
}

# unreached COUNTERS_JSON: each line that no test went through, as FILE:LINE.
unreached() {
  python3 -c '
import json, sys
for file in json.load(open(sys.argv[1]))["files"]:
    for line in file["lines"]:
        if line["count"] == 0 and not line.get("gcovr/noncode"):
            print("{}:{}".format(file["file"], line["line_number"]))' "$1"
}

build_preset coverage
find build/coverage -name '*.gcda' -delete
say "testing coverage"
status=0
# The tests of the package look at what is shipped, which has no counters in it.
ctest --preset coverage -j 2 --exclude-regex '^package\.' "$@" >&2 || status=$?

say "counting"
# From here, because the objects name their sources as seen from here.
cd build/coverage
quietly gcovr.log gcovr --root ../.. --filter ../../src/ --exclude-throw-branches --exclude-unreachable-branches \
  --csv counters.csv --json counters.json src || die "gcovr failed"
report counters.csv
unreached counters.json
exit "$status"
