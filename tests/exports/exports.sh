#!/usr/bin/env bash
# Holds what the built library exports against the list beside this script, which is the same on every platform.
#   exports.sh LIBRARY            fails when the lists differ
#   exports.sh LIBRARY --update   writes the list anew
#
# MinGW mangles names as g++ does, so the names of a DLL and of a shared object compare as they are. Left out is what
# the compilers decide: the names in the type information, which MinGW keeps to itself, and the type information of the
# engine's own models, which MinGW exports as that of their exported bases.
set -euo pipefail
export LC_ALL=C
here=$(cd "$(dirname "$0")" && pwd)
library=$1
names=$(mktemp)
trap 'rm -f "$names"' EXIT

case $library in
*.dll)
    x86_64-w64-mingw32-objdump -p "$library" |
        awk '/\[Ordinal\/Name Pointer\] Table/ { inside = 1; next } /^$/ { inside = 0 } inside { print $NF }'
    ;;
*)
    nm -D --defined-only "$library" | awk '{ print $NF }'
    ;;
esac | c++filt | grep -vE '^typeinfo name |^typeinfo for kor::Engine' | sort -u >"$names"

[ "$(grep -c '^CKor' "$names")" -ge 100 ] || { echo "$library exports too little to be the library"; exit 1; }
if [ "${2:-}" = --update ]; then
    cp "$names" "$here/exported_names.txt"
    exit 0
fi
diff -u "$here/exported_names.txt" "$names" || {
    echo "the exported names have changed; if that is wanted: $0 $library --update"
    exit 1
}
