#!/usr/bin/env bash
# makes the Debian packages
#
# usage: ./run package
#
# Three packages in build/package/packages/: the library, what one builds with, and the host platform with its tools.
# Their contents are unpacked and a process of another team is built and run against them before they are called done.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"
(($# == 0)) || usage_error "package takes no arguments"

./run setup --package
build_preset package
rm -rf build/package/packages
say "packing"
(cd build/package && quietly cpack.log cpack) || die "cannot make the packages"

# The packages as they would be on a machine, below a root of their own.
root_of_packages=$(mktemp -d)
trap 'rm -rf "$root_of_packages"' EXIT
for package in build/package/packages/*.deb; do
  dpkg-deb --extract "$package" "$root_of_packages"
done
bash tests/package/check_consumer.sh "$root_of_packages/usr" examples/consumer g++
for package in build/package/packages/*.deb; do
  echo "$package"
  dpkg-deb --info "$package" | sed -nE 's/^ (Package|Version|Depends|Recommends|Installed-Size): /    \1: /p'
done
