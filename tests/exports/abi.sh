#!/usr/bin/env bash
# Holds the binary form of the C interface against the stored one: functions, their parameters, structures, enumerations.
#   abi.sh LIBRARY            fails when something has changed; an addition is not a change
#   abi.sh LIBRARY --update   writes the stored form anew
#
# LIBRARY is one built by g++ for x86-64 with its types (build type Debug). c_interface.abi holds the form of the last
# release, and before the first one that of the last change; a release writes it anew (docs/releasing.md).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
stored=$here/c_interface.abi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

abidw --no-show-locs --no-corpus-path --no-comp-dir-path --no-elf-needed \
    --suppressions "$here/abi_dumped.ini" --out-file "$work/now.abi" "$1"
for seen in kor_engine_update_many kor_sample_report KOR_RAWINFO; do
    grep -q "name='$seen'" "$work/now.abi" || { echo "$1 does not tell of $seen: it was built without its types"; exit 1; }
done
if [ "${2:-}" = --update ]; then
    cp "$work/now.abi" "$stored"
    exit 0
fi
abidiff --no-added-syms --suppressions "$here/abi_compared.ini" "$stored" "$work/now.abi" || {
    echo "the C interface has changed for hosts that are built already; if that is wanted: $0 $1 --update"
    exit 1
}
