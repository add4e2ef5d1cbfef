# shellcheck shell=bash
# Sourced by the commands: the place, the voice, and how a preset is built. Leaves the caller in the project's root.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

bold='' red='' plain=''
if [[ -t 2 && -z ${NO_COLOR:-} && ${TERM:-dumb} != dumb ]]; then
  bold=$'\e[1m' red=$'\e[31m' plain=$'\e[0m'
fi

# Progress goes to standard error, so that the output of a program or a list stays clean.
say() { printf '%s\n' "${bold}==> $*${plain}" >&2; }

complain() { printf '%s\n' "${red}$*${plain}" >&2; }

die() {
  complain "run: $*"
  exit 1
}

# A wrong argument: exit 2, as for an unknown command.
usage_error() {
  complain "run: $*; './run help $(basename "$0" .sh)' tells the arguments"
  exit 2
}

# quietly LOG COMMAND...: the output goes to the file and is shown only when the command fails.
quietly() {
  local log=$1 status=0
  shift
  "$@" >"$log" 2>&1 || status=$?
  if ((status != 0)); then
    cat "$log" >&2
  fi
  return "$status"
}

# A build directory that was copied or moved from another place cannot be used again.
discard_foreign_build() {
  local cache=build/$1/CMakeCache.txt
  if [[ -f $cache ]] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$cache"; then
    say "build/$1 belongs to another source directory; starting it anew"
    rm -rf "build/$1"
  fi
}

# configure PRESET [-DNAME=VALUE...]
configure() {
  discard_foreign_build "$1"
  mkdir -p "build/$1"
  quietly "build/$1/configure.log" cmake --preset "$@" || die "cannot configure the preset '$1'"
}

# The release preset has the benchmarks in it.
install_packages_of() {
  case $1 in
    release) ./run setup --bench ;;
    coverage) ./run setup --coverage ;;
    fuzz) ./run setup --fuzz ;;
    *) ./run setup ;;
  esac
}

# build_preset PRESET [TARGET...]: installs what is missing, configures and builds; on a terminal with a line of
# progress, elsewhere in silence.
build_preset() {
  local preset=$1 begin=$SECONDS targets=() quiet=()
  shift
  (($# == 0)) || targets=(--target "$@")
  install_packages_of "$preset"
  configure "$preset"
  say "building $preset${*:+: $*}"
  [[ -t 1 ]] || quiet=(-- --quiet)
  cmake --build "build/$preset" "${targets[@]}" "${quiet[@]}" || die "cannot build the preset '$preset'"
  say "built $preset in $((SECONDS - begin)) s"
}
