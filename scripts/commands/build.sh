#!/usr/bin/env bash
# builds a preset, or some targets of it
#
# usage: ./run build [dev | release | asan | tsan | coverage] [TARGET...]
#
# Without a preset it is dev. The programs are then in build/PRESET/bin, the libraries in build/PRESET/lib.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

preset=dev
case ${1:-} in
  dev | release | asan | tsan | coverage)
    preset=$1
    shift
    ;;
esac

build_preset "$preset" "$@"
