#!/usr/bin/env bash
# check_consumer.sh PREFIX EXAMPLE_DIRECTORY CXX_COMPILER
# Builds and runs a process of another team against an installed tree: once with find_package alone, once with
# pkg-config and the bare compiler. Runs the installed tools too.
set -euo pipefail
prefix=$1 example=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TARN_HOST_DIR=$work/host

fail() {
  echo "$*" >&2
  exit 1
}

check_run() {
  local said
  said=$("$1") || fail "$1 failed"
  [[ $said == "door: 3 people in the garden, none in the cellar" ]] || fail "$1 said: $said"
}

cmake -S "$example" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" >"$work/log"
cmake --build "$work/cmake" >>"$work/log" || fail "$(<"$work/log")"
check_run "$work/cmake/presence"

description=$(find "$prefix" -name tarn_conference_common.pc)
libraries=$(dirname "$(dirname "$description")")
export PKG_CONFIG_PATH=$libraries/pkgconfig
read -ra flags < <(pkg-config --cflags --libs tarn_conference_common tarn_host_platform)
"$compiler" -o "$work/presence" "$example/presence.cpp" "${flags[@]}" -Wl,-rpath,"$libraries"
check_run "$work/presence"

for program in tarnctl tarn_launch; do
  LD_LIBRARY_PATH=$libraries "$prefix/bin/$program" --version >/dev/null || fail "the installed $program does not run"
done
