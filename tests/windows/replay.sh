#!/usr/bin/env bash
# Replays of shipped recordings by the Windows program.
#   replay.sh PREFIX KOR_EXE NAME NATIVE_BUILD LIMIT  like the native program's, and within LIMIT degrees of the truth
#   replay.sh PREFIX KOR_EXE --several                two recordings side by side, names beyond ASCII
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
windows_kor=("$here/run.sh" "$1" "$2")
name=$3

# Runs a command whose output matters only if it fails.
silently() { "$@" >"$work/log" 2>&1 </dev/null || { cat "$work/log"; echo "failed: $*"; exit 1; }; }

if [ "$name" = --several ]; then
    source=$root/data/polarizer
    mkdir "$work/löchrig" "$work/out"
    cp "$source/Tg1005.prm" "$work/löchrig/"
    cp "$source/polarizer.csv" "$work/löchrig/erste Größe.csv"
    cp "$source/polarizer.korraw" "$work/löchrig/zweite.korraw"
    silently "${windows_kor[@]}" replay --prm "$source" --id 1005 "$source/polarizer.csv" -o "$work/alone.csv"
    silently "${windows_kor[@]}" replay --prm "$work/löchrig" --id 1005 "$work/löchrig/erste Größe.csv" \
        "$work/löchrig/zweite.korraw" --jobs 2 -o "$work/out"
    made=("$work/out"/*)
    [ "${#made[@]}" -eq 2 ] || { echo "made ${made[*]}"; exit 1; }
    for file in "${made[@]}"; do
        cmp "$work/alone.csv" "$file"
    done
    exit 0
fi

native_kor=$4/tools/kor
[ -x "$native_kor" ] || { echo "no $native_kor to compare with; build the native preset first"; exit 1; }
folder=$root/data/$name
id=$(basename "$folder"/Tg*.prm .prm)
arguments=(replay --prm "$folder" --id "${id#Tg}" "$folder/$name.csv")
silently "$native_kor" "${arguments[@]}" -o "$work/native.csv"
silently "${windows_kor[@]}" "${arguments[@]}" -o "$work/windows.csv"
/usr/bin/python3 "$here/compare_replays.py" "$name" "$work/native.csv" "$work/windows.csv"
/usr/bin/python3 "$root/data/compare.py" "$work/windows.csv" "$folder/${name}_truth.csv" --limit "$5"

# Bit for bit as stored for this toolchain.
printf '#!/bin/sh\nexec "%s" "%s" "%s" "$@"\n' "${windows_kor[@]}" >"$work/kor"
chmod +x "$work/kor"
/usr/bin/python3 "$root/tests/data/golden.py" check "$work/kor" "GNU Windows x86_64" "$name"
