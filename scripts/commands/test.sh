#!/usr/bin/env bash
# builds everything and runs the tests
#
# usage: ./run test [--asan | --tsan | --release] [-R REGEX] [CTEST ARGUMENT...]
#
#   --asan      with AddressSanitizer and UndefinedBehaviorSanitizer
#   --tsan      with ThreadSanitizer
#   --release   what is installed, optimised
#   -R REGEX    only the tests whose name matches
#
# Everything else is handed to ctest. The output of a failing test is shown.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

preset=dev
arguments=()
for argument in "$@"; do
  case $argument in
    --asan | --tsan | --release) preset=${argument#--} ;;
    *) arguments+=("$argument") ;;
  esac
done

# ThreadSanitizer needs an address space without the widest randomisation that newer kernels have.
steady=()
if [[ $preset == tsan ]] && setarch "$(uname -m)" -R true 2>/dev/null; then
  steady=(setarch "$(uname -m)" -R)
fi

build_preset "$preset"
say "testing $preset"
exec "${steady[@]}" ctest --preset "$preset" -j 2 "${arguments[@]}"
