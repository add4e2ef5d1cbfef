#!/usr/bin/env bash
# compares the binary interface with the last release's
#
# usage: ./run abi [--accept]
#
#   --accept   makes what stands now the one to compare with: for a release, after reading the report
#
# abi/ holds the interface of each shared library as it was released: names, signatures and the layouts that they
# reach. Any difference is shown and ends with a non-zero exit code. One that breaks programs that were built before
# needs a new major version; an added name needs a new minor one.
source "$(dirname "${BASH_SOURCE[0]}")/../common.sh"

accept=false
case ${1:-} in
  '') ;;
  --accept) accept=true ;;
  *) usage_error "abi does not know '$1'" ;;
esac

names=(tarn_conference_common tarn_host_platform)
public=(--headers-dir include --headers-dir platform/include --headers-dir platform/host/include)
reproducible=(--no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --no-parameter-names
  --type-id-style hash)

# write_interface LIBRARY FILE
write_interface() {
  abidw "${public[@]}" "${reproducible[@]}" --drop-private-types --exported-interfaces-only --drop-undefined-syms \
    --out-file "$2" "$1" || die "cannot read the interface of $1"
}

./run setup --abi
build_preset dev "${names[@]}"
different=()
for name in "${names[@]}"; do
  library=build/dev/lib/lib$name.so
  released=abi/lib$name.abi
  if $accept; then
    write_interface "$library" "$released"
    say "$released is what stands now"
    continue
  fi
  [[ -f $released ]] || die "$released is not there; './run abi --accept' makes it"
  present=build/dev/lib$name.abi
  write_interface "$library" "$present"
  abidiff "$released" "$present" || different+=("$name")
done
((${#different[@]} == 0)) || die "the binary interface differs from the released one: ${different[*]}"
