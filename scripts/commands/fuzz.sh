#!/usr/bin/env bash
# fuzzes the ways in, with libFuzzer and the address and undefined-behaviour sanitizers
#
# usage: ./run fuzz [SECONDS] [TARGET...]
#
#   SECONDS  for each target; 60 when it is left out
#   TARGET   only these; without one, all of fuzz/targets in turn
#
# Starts from the seeds in fuzz/corpus/TARGET and keeps what it learns in build/fuzz/corpus/TARGET for the next time. An
# input that fails is kept in build/fuzz/findings/TARGET, and the command that runs it again is shown; put it in the
# corpus when the fault is mended. Exits non-zero when an input failed. `./run test` replays the seeds.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

seconds=60

all_targets() {
  local file
  for file in fuzz/targets/*.cpp; do
    basename "$file" .cpp
  done
}

parse_arguments() {
  local argument
  targets=()
  if [[ ${1:-} =~ ^[0-9]{1,9}$ ]]; then
    ((10#$1 > 0)) || usage_error "a target needs a second at least"
    seconds=$((10#$1))
    shift
  fi
  for argument in "$@"; do
    [[ $argument =~ ^[a-z_]+$ && -f fuzz/targets/$argument.cpp ]] ||
      usage_error "there is no target '$argument'; there are: $(all_targets | paste -sd ' ')"
    targets+=("$argument")
  done
  ((${#targets[@]} > 0)) || mapfile -t targets < <(all_targets)
}

# Words that the inputs of a target are made of; several targets read the same kind of text.
dictionary_of() {
  case $1 in
    settings | xml_*) echo fuzz/dictionaries/xml.dict ;;
    *) echo "fuzz/dictionaries/$1.dict" ;;
  esac
}

# fuzz TARGET: true when no input failed.
fuzz() {
  local target=$1 status=0 finding dictionary
  local learned=build/fuzz/corpus/$target findings=build/fuzz/findings/$target log=build/fuzz/$target.log
  local program=build/fuzz/bin/fuzz_$target options=()
  mkdir -p "$learned" "$findings"
  touch build/fuzz/begin
  dictionary=$(dictionary_of "$target")
  [[ ! -f $dictionary ]] || options+=("-dict=$dictionary")
  say "fuzzing $target for $seconds s"
  "$program" "$learned" "fuzz/corpus/$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 \
    -close_fd_mask=2 -print_final_stats=1 -artifact_prefix="$findings/" "${options[@]}" >"$log" 2>&1 || status=$?
  if ((status == 0)); then
    say "$target: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") inputs, none failed"
    return 0
  fi
  cat "$log" >&2
  finding=$(find "$findings" -type f -newer build/fuzz/begin | head -n 1)
  if [[ -n $finding ]]; then
    complain "run: $target failed on $finding; run it again with: $environment $program $finding"
  else
    complain "run: $target failed; its output is in $log"
  fi
  return 1
}

parse_arguments "$@"
build_preset fuzz fuzz/all
environment="LSAN_OPTIONS=suppressions=tests/lsan.supp:print_suppressions=0"
export LSAN_OPTIONS=${environment#*=}
export ASAN_OPTIONS=detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1
# In memory where there is such a place: some targets write a file for each input.
scratch=$(mktemp -d -p /dev/shm 2>/dev/null || mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export TMPDIR=$scratch

failed=()
for target in "${targets[@]}"; do
  fuzz "$target" || failed+=("$target")
done
((${#failed[@]} == 0)) || die "inputs failed in: ${failed[*]}"
say "no input failed"
