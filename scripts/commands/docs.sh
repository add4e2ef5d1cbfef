#!/usr/bin/env bash
# makes the reference pages and checks the manual pages
#
# usage: ./run docs
#
# The pages are in build/docs: reference/index.html is made by Doxygen of all public headers, man/ holds the manual
# pages. A warning fails: no function, parameter, result or field is without its description.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

(($# == 0)) || usage_error "docs takes no argument"
./run setup --docs

say "checking the manual pages"
rm -rf build/docs
mkdir -p build/docs/man
for page in docs/man/*; do
  mandoc -T lint -W warning "$page" || die "$page has warnings"
  mandoc -T html -O man=%N.%S.html "$page" >"build/docs/man/$(basename "$page").html"
done

say "making the reference"
doxygen docs/Doxyfile || die "the headers' descriptions have warnings"
say "build/docs/reference/index.html"
