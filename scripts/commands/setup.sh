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

# As root; `become` is empty for root, else it holds sudo.
apt() {
  quietly "$log" "${become[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300 "$@"
}

update_lists() {
  local package
  for package in "$@"; do
    [[ $package != *:* ]] || "${become[@]}" dpkg --add-architecture "${package#*:}"
  done
  apt update || complain "run: the package lists could not be brought up to date; trying all the same"
}

install() {
  say "installing: $*"
  apt install --no-install-recommends "$@"
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
  # The helpful ones only along with needed ones: every command comes by here, and none may wait for a network in vain.
  ((${#missing[@]} > 0)) || return 0
  become=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null || die "as root, run: apt-get install --no-install-recommends ${missing[*]}"
    become=(sudo)
  fi
  log=$(mktemp)
  trap 'rm -f "$log"' EXIT
  update_lists "${missing[@]}"
  install "${missing[@]}" || die "these packages could not be installed: ${missing[*]}"
  mapfile -t helpful < <(packages_of helpful)
  mapfile -t helpful < <(missing_of "${helpful[@]}")
  ((${#helpful[@]} == 0)) || install "${helpful[@]}" || complain "run: going on without ${helpful[*]}"
}

main "$@"
