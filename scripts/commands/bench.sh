#!/usr/bin/env bash
# builds the release preset and runs the benchmarks
#
# usage: ./run bench [NAME [ARGUMENT...]]
#
#   NAME      only the programs build/release/bin/bench_* with NAME in their name
#   ARGUMENT  handed to these programs, for instance --benchmark_filter=REGEX
#
# TARN_BENCH_SECONDS in the environment shortens the 60 seconds for which the timers are measured. Run it on an idle
# machine. Exits non-zero when a program does.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

wanted=${1:-}
(($# == 0)) || shift

compgen -G "bench/bench_*${wanted//[^a-z_]/?}*.cpp" >/dev/null || usage_error "no benchmark is called bench_*$wanted*"
build_preset release bench/all

ran=0 failed=()
for program in build/release/bin/bench_*"$wanted"*; do
  [[ -x $program ]] || continue
  say "$(basename "$program")"
  ran=$((ran + 1))
  "$program" "$@" || failed+=("$(basename "$program")")
done
((ran > 0)) || die "no benchmark is called bench_*$wanted*"
((${#failed[@]} == 0)) || die "failed: ${failed[*]}"
