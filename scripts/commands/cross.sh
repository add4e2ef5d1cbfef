#!/usr/bin/env bash
# builds the library for a 64-bit ARM device and runs its unit tests under an emulator
#
# usage: ./run cross [CTEST ARGUMENT...]
#
# The library is then build/aarch64/lib/libtarn_conference_common.so.1; it brings no platform, the device does. The
# tests run on the scripted platform, under qemu's user-mode emulation. Debian's libraries of that architecture are
# installed beside this machine's own.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

./run setup --cross
build_preset aarch64
say "testing aarch64 under qemu"
exec ctest --preset aarch64 -j 2 "$@"
