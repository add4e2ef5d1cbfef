#!/usr/bin/env bash
# installs the Debian packages that are missing
#
# usage: ./run setup [--COMMAND...]
#
# Says nothing when everything is there. Without arguments it looks after what building, testing and the demonstration
# need; --lint, --bench and so on add what those commands need. The list, with a reason for each, is
# scripts/packages.txt. Packages are installed as root, or with sudo for everybody else. The other commands call this
# themselves.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

parse_arguments() {
  local argument
  groups=(build)
  for argument in "$@"; do
    if [[ ! $argument =~ ^--[a-z]+$ ]] || ! grep -q "^${argument#--} | " scripts/packages.txt; then
      usage_error "setup does not know '$argument'"
    fi
    groups+=("${argument#--}")
  done
}

packages_of() {
  local group=$1 line
  local -a fields
  while IFS= read -r line; do
    [[ $line == "$group "* ]] || continue
    IFS=' |' read -ra fields <<<"$line"
    echo "${fields[1]}"
  done <scripts/packages.txt
}

# Those of the named packages that are not installed. A name may end with an architecture, "libssl-dev:arm64"; without
# one it is this machine's.
missing_of() {
  local -A installed=()
  local package architecture state own
  own=$(dpkg --print-architecture)
  while read -r package architecture state; do
    [[ $state == installed ]] || continue
    installed[$package:$architecture]=1
    [[ $architecture != "$own" && $architecture != all ]] || installed[$package]=1
  done < <(dpkg-query -W -f '${Package} ${Architecture} ${db:Status-Status}\n' "$@" 2>/dev/null || true)
  for package in "$@"; do
    [[ -n ${installed[$package]:-} ]] || echo "$package"
  done
}

# install PACKAGE...: one update and one install; `become` is empty for root, else it holds sudo.
install() {
  local apt=("${become[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300)
  local package
  say "installing: $*"
  for package in "$@"; do
    [[ $package != *:* ]] || "${become[@]}" dpkg --add-architecture "${package#*:}"
  done
  quietly "$log" "${apt[@]}" update ||
    complain "run: the package lists could not be brought up to date; trying all the same"
  quietly "$log" "${apt[@]}" install --no-install-recommends "$@" || die "these packages could not be installed: $*"
}

main() {
  local group
  local -a required=() missing helpful
  parse_arguments "$@"
  for group in "${groups[@]}"; do
    mapfile -t -O "${#required[@]}" required < <(packages_of "$group")
  done
  if ! command -v dpkg-query >/dev/null; then
    complain "run: not a Debian machine; these packages, or what they are called here, are needed: ${required[*]}"
    return 0
  fi
  mapfile -t missing < <(missing_of "${required[@]}")
  mapfile -t helpful < <(packages_of helpful)
  mapfile -t helpful < <(missing_of "${helpful[@]}")

  become=()
  if ((EUID != 0)); then
    ((${#missing[@]} > 0)) || return 0
    command -v sudo >/dev/null || die "as root, run: apt-get install --no-install-recommends ${missing[*]}"
    become=(sudo)
  fi
  missing+=("${helpful[@]}")
  ((${#missing[@]} > 0)) || return 0
  log=$(mktemp)
  trap 'rm -f "$log"' EXIT
  install "${missing[@]}"
}

main "$@"
