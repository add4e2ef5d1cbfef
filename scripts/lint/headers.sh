#!/usr/bin/env bash
# Compiles each public header alone: as C++17 and C++20 with both compilers, and as C unless it is listed in
# scripts/lint/cpp_only_headers.txt. When neither a header nor a compiler has changed since the last clean run, that
# run counts.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

warnings=(-fsyntax-only -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
roots=(include platform/include platform/host/include)
mapfile -t headers < <(find "${roots[@]}" -name '*.h' | LC_ALL=C sort)
mapfile -t cpp_only < <(grep -v '^#' scripts/lint/cpp_only_headers.txt)

state() {
  sha256sum "${headers[@]}" scripts/lint/headers.sh scripts/lint/cpp_only_headers.txt
  gcc --version
  clang-14 --version
}

only_cpp() {
  local listed
  for listed in "${cpp_only[@]}"; do
    [[ $listed != "$1" ]] || return 0
  done
  return 1
}

# A line a compilation: COMPILER LANGUAGE STANDARD HEADER.
compilations() {
  local header standard
  for header in "${headers[@]}"; do
    for standard in c++17 c++20; do
      echo "g++ c++ $standard $header"
      echo "clang++-14 c++ $standard $header"
    done
    only_cpp "$header" || echo "gcc c gnu11 $header"
  done
}

compile() {
  local compiler=$1 language=$2 standard=$3 header=$4
  "$compiler" "${warnings[@]}" "${packages[@]}" "${roots[@]/#/-I}" -std="$standard" -x "$language" "$header" ||
    { echo "$header:1: does not compile alone: $compiler -std=$standard" >&2 && return 1; }
}

if [[ ${1:-} == --compile ]]; then
  read -ra packages <<<"$PACKAGE_FLAGS"
  compile "${@:2}"
  exit
fi

for listed in "${cpp_only[@]}"; do
  [[ -f $listed ]] || die "scripts/lint/cpp_only_headers.txt names $listed, which is not there"
done
stamp=.cache/lint/headers
now=$(state | sha256sum)
if [[ -f $stamp && $(<"$stamp") == "$now" ]]; then
  exit 0
fi
PACKAGE_FLAGS=$(pkg-config --cflags libcjson tinyxml2 openssl)
export PACKAGE_FLAGS
compilations | xargs -P 2 -L 1 bash "${BASH_SOURCE[0]}" --compile
mkdir -p "$(dirname "$stamp")"
echo "$now" >"$stamp"
