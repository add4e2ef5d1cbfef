#!/usr/bin/env bash
# runs the tests under sanitizers, and the demonstration under memcheck
#
# usage: ./run sanitize [asan | tsan | memcheck]...
#
#   asan      the tests with AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer
#   tsan      the tests with ThreadSanitizer
#   memcheck  every process of the demonstration under valgrind
#
# Without an argument all of them. The leaks that are meant are named in tests/lsan.supp, for valgrind in
# tests/memcheck.supp; a name there that nothing needs any more is an error too.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

# no_stale_name FILE NAMES USED...: each of the names must stand in one of the reports on used suppressions.
no_stale_name() {
  local file=$1 names=$2 name stale=()
  shift 2
  while read -r name; do
    grep -qhF -- "$name" "$@" || stale+=("$name")
  done <<<"$names"
  ((${#stale[@]} == 0)) || die "$file names what no longer leaks: ${stale[*]}"
}

check_asan() {
  ./run test --asan
  # LeakSanitizer tells behind each process what it used.
  local used=build/asan/used-suppressions.txt
  sed -n '/^Suppressions used:/,/^---/p' build/asan/Testing/Temporary/LastTest.log >"$used"
  no_stale_name tests/lsan.supp "$(sed -n 's/^leak://p' tests/lsan.supp)" "$used"
}

check_tsan() { ./run test --tsan; }

# Of a process that ended by itself the log ends in a summary. The demonstration kills some; what they did until then
# counts as well.
memcheck_findings() {
  local finding='[1-9][0-9,]* .*definitely lost in|Invalid |Mismatched |Conditional jump|Use of uninit|Syscall param'
  finding+='|Source and dest|Process terminating with default action of signal (4|6|8|11)'
  grep -E "^==[0-9]+== +($finding)" "$@"
}

check_memcheck() {
  ./run setup --sanitize
  build_preset dev tarn_demo tarnctl
  local logs=build/memcheck status=0
  rm -rf "$logs"
  mkdir -p "$logs"
  say "running the demonstration under memcheck"
  # Turns are fair, because valgrind runs one thread at a time and a waiting one could starve. Only blocks that nothing
  # points at count: accounted blocks and threads are known by pointers into their middle.
  valgrind --trace-children=yes --fair-sched=yes -v --log-file="$logs/%p.log" --suppressions=tests/memcheck.supp \
    --leak-check=full --show-leak-kinds=definite --errors-for-leak-kinds=definite \
    build/dev/bin/tarn_demo --no-colour >"$logs/demo.txt" || status=$?
  if memcheck_findings -A 20 "$logs"/*.log >"$logs/findings.txt"; then
    cat "$logs/findings.txt" >&2
    die "memcheck found something; the whole logs are in $logs"
  fi
  ((status == 0)) || die "the demonstration failed under memcheck; see $logs/demo.txt"
  grep -hF 'used_suppression:' "$logs"/*.log >"$logs/used-suppressions.txt" || true
  no_stale_name tests/memcheck.supp "$(grep -A 1 '^{' tests/memcheck.supp | sed -n 's/^ \{1,\}//p')" \
    "$logs/used-suppressions.txt"
  say "memcheck found nothing in $(find "$logs" -name '*.log' | wc -l) processes"
}

chosen=("$@")
((${#chosen[@]} > 0)) || chosen=(asan tsan memcheck)
for check in "${chosen[@]}"; do
  [[ $check =~ ^(asan|tsan|memcheck)$ ]] || usage_error "sanitize does not know '$check'"
done
for check in "${chosen[@]}"; do
  "check_$check"
done
