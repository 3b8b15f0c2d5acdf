#!/usr/bin/env bash
# The example in C# prints what the example in C prints. csharp_example.sh LIBRARY ROOT C_COMPILER
set -euo pipefail
library=$(dirname "$1")
root=$2
cc=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LD_LIBRARY_PATH=$library HOME=$work

mcs -warnaserror -out:"$work/host.exe" "$root/examples/KorExample.cs"
"$cc" -std=c11 "$root/examples/host.c" -I "$root/include" -L "$library" -lKORInterface -o "$work/host"
for sensor in polarizer:1005 two_level:1009; do
    name=${sensor%:*}
    recording=$root/data/$name/$name.csv
    mono "$work/host.exe" "$root/data/$name" "${sensor#*:}" "$recording" >"$work/sharp"
    "$work/host" "$root/data/$name" "${sensor#*:}" "$recording" >"$work/plain"
    [ "$(wc -l <"$work/plain")" -gt 1000 ]
    cmp "$work/plain" "$work/sharp"
done
# A recording that is not there ends both with a message.
! mono "$work/host.exe" "$root/data/polarizer" 1005 "$work/none.csv" >/dev/null 2>"$work/errors"
grep -q none.csv "$work/errors"
echo "both examples agree"
