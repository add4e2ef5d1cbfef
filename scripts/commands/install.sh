#!/usr/bin/env bash
# installs the libraries, headers and tools
#
# usage: ./run install [--prefix DIRECTORY]
#
# Builds what is released and installs it below DIRECTORY, /usr/local without --prefix. There are CMake and pkg-config
# files for whoever builds on it: find_package(tarn_conference_common), pkg-config tarn_conference_common.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

prefix=/usr/local
while (($# > 0)); do
  case $1 in
    --prefix)
      (($# > 1)) || usage_error "--prefix wants a directory"
      prefix=$2
      shift
      ;;
    --prefix=*) prefix=${1#--prefix=} ;;
    *) usage_error "install does not know '$1'" ;;
  esac
  shift
done
[[ -n $prefix ]] || usage_error "--prefix wants a directory"
prefix=$(realpath -m "$prefix")

# Where libraries go depends on the prefix, so it must be known before the build.
./run setup
configure install -DCMAKE_INSTALL_PREFIX="$prefix"
build_preset install
quietly build/install/install.log cmake --install build/install ||
  die "cannot install below $prefix; is it yours to write to?"
[[ $prefix != /usr/local || $EUID != 0 ]] || ldconfig
say "installed below $prefix; build/install/install_manifest.txt lists the files"
