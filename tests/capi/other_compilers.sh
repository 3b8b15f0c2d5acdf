#!/usr/bin/env bash
# Hosts of other compilers against the DLL: what they link is made from KORInterface.def alone.
#   other_compilers.sh DEF DLL KOR PREFIX DATA VECTORS
# PREFIX is that of Wine. Three hosts run: the C test of this folder, built by MinGW's gcc, and a host without a C library,
# built by that gcc and by clang for MSVC's target.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
def=$1 dll=$2 kor=$3 data=$5 vectors=$6
wine() { "$root/tests/windows/run.sh" "$prefix" "$@"; }
prefix=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }
cp "$dll" "$work/"
cd "$work"

x86_64-w64-mingw32-dlltool -d "$def" -l libKORInterface.a
x86_64-w64-mingw32-gcc -std=c11 -Wall -Wextra -Wpedantic -Werror -I "$root/include" "$here/interface.c" libKORInterface.a \
    -o interface.exe
mkdir files
wine interface.exe "$data" "$vectors" files

strict=(-std=c11 -Wall -Wextra -Wpedantic -Werror -O1 -ffreestanding -fno-stack-protector -I "$root/include")
x86_64-w64-mingw32-gcc "${strict[@]}" -nostdlib -Wl,-e,start "$here/freestanding.c" libKORInterface.a -lkernel32 \
    -o mingw.exe

# No library of that target is at hand, so those of the DLL and of the system are made from names.
printf 'LIBRARY kernel32.dll\nEXPORTS\nGetStdHandle\nWriteFile\nGetCommandLineA\nExitProcess\n' >kernel32.def
llvm-dlltool -m i386:x86-64 -d kernel32.def -l kernel32.lib
llvm-dlltool -m i386:x86-64 -d "$def" -l KORInterface.lib
clang --target=x86_64-pc-windows-msvc "${strict[@]}" -c "$here/freestanding.c" -o msvc.obj
lld-link /entry:start /subsystem:console /nodefaultlib /out:msvc.exe msvc.obj KORInterface.lib kernel32.lib

for name in polarizer:1005 two_level:1009; do
    folder=$data/${name%:*} id=${name#*:}
    recording=$folder/${name%:*}.csv
    wine "$kor" replay --prm "$folder" --id "$id" "$recording" -o results.korinfo --format bare --quiet >log 2>&1 ||
        { cat log; fail "kor does not replay"; }
    for host in mingw msvc; do
        wine "$host.exe" "$folder" "$id" "$recording" >"$host.out"
        cmp "$host.out" results.korinfo || fail "$host.exe gives other results than kor"
    done
    echo "${name%:*}: $(($(stat -c %s results.korinfo) / 60)) results"
done
status=0
wine msvc.exe "$data/none" 1005 x >/dev/null 2>errors || status=$?
[ "$status" -eq 1 ] && grep -q 'Tg1005.prm: the parameter file cannot be opened' errors ||
    fail "found status $status and $(<errors), expected 1 and what is wrong"
