#!/usr/bin/env bash
# removes everything that was built
#
# usage: ./run clean
#
# Removes build/ and .cache/. Installed packages stay.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

(($# == 0)) || usage_error "clean takes no argument"
rm -rf build .cache
