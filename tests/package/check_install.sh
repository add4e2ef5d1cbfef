#!/usr/bin/env bash
# check_install.sh BUILD_DIRECTORY EXAMPLE_DIRECTORY CXX_COMPILER
# Installs what was built, moves the installed tree elsewhere, and has another team's process built against it.
set -euo pipefail
build=$1 example=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/prefix"
"$work/prefix/bin/tarnctl" --version >/dev/null
"$(dirname "${BASH_SOURCE[0]}")/check_consumer.sh" "$work/prefix" "$example" "$compiler"
