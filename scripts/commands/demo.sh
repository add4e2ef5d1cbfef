#!/usr/bin/env bash
# builds and runs the demonstration endpoint
#
# usage: ./run demo [ARGUMENT...]
#
# Arguments go to the demonstration (--help lists them) and its exit code comes back: 0 when every step was checked and
# right.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

build_preset dev tarn_demo
exec build/dev/bin/tarn_demo "$@"
