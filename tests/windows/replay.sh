#!/usr/bin/env bash
# Replays of shipped recordings and simulations by the Windows program.
#   replay.sh PREFIX KOR_EXE NAME NATIVE_BUILD LIMIT   like the native program's, and within LIMIT degrees of the truth
#   replay.sh PREFIX KOR_EXE --several                 two recordings side by side, names beyond ASCII
#   replay.sh PREFIX KOR_EXE --piped                   a recording from standard input, plain and compressed
#   replay.sh PREFIX KOR_EXE --simulated NATIVE_BUILD  simulations of every sensor, byte for byte the native program's
#   replay.sh PREFIX KOR_EXE --shipped                 the shipped recordings made again, byte for byte
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
python=${KOR_PYTHON:-$(cmake -P "$root/cmake/Python.cmake")}
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

# Under Wine such a pipe cannot be asked for what it holds, like a console under Windows.
if [ "$name" = --piped ]; then
    source=$root/data/polarizer
    arguments=(replay --prm "$source" --id 1005)
    silently "${windows_kor[@]}" "${arguments[@]}" "$source/polarizer.csv" -o "$work/file.csv"
    gzip -nc "$source/polarizer.csv" >"$work/packed"
    for recording in "$source/polarizer.csv" "$source/polarizer.korraw" "$work/packed"; do
        cat "$recording" | timeout 60 "${windows_kor[@]}" "${arguments[@]}" - -o "$work/pipe.csv" >"$work/log" 2>&1 ||
            { cat "$work/log"; echo "failed, or did not end: $recording from a pipe"; exit 1; }
        cmp "$work/file.csv" "$work/pipe.csv"
        rm "$work/pipe.csv"
    done
    exit 0
fi

# The Windows program as one command.
as_command() {
    printf '#!/bin/sh\nexec "%s" "%s" "%s" "$@"\n' "${windows_kor[@]}" >"$work/kor"
    chmod +x "$work/kor"
}

if [ "$name" = --shipped ]; then
    as_command
    silently "$root/data/make.sh" "$work/kor" "$work/data"
    same=0
    while IFS= read -r file; do
        cmp "$root/data/$file" "$work/data/$file"
        same=$((same + 1))
    done < <(cd "$work/data" && find . -type f)
    [ "$same" -eq 21 ] || { echo "made $same files, expected 21"; exit 1; }
    exit 0
fi

native_kor=$4/tools/kor
[ -x "$native_kor" ] || { echo "no $native_kor to compare with; build the native preset first"; exit 1; }

if [ "$name" = --simulated ]; then
    motions=(static circle swing random roll)
    compared=0
    for prm in "$root"/data/*/Tg*.prm; do
        id=$(basename "$prm" .prm)
        arguments=(simulate --prm "$(dirname "$prm")" --id "${id#Tg}" --samples 300
            --motion "${motions[compared % ${#motions[@]}]}" --noise levelXRaw=0.01 --quantise azimuthRaw=0.001
            --drop 0.05 --seed 7)
        silently "$native_kor" "${arguments[@]}" -o "$work/native.csv" --truth "$work/native_truth.csv"
        silently "${windows_kor[@]}" "${arguments[@]}" -o "$work/windows.csv" --truth "$work/windows_truth.csv"
        cmp "$work/native.csv" "$work/windows.csv"
        cmp "$work/native_truth.csv" "$work/windows_truth.csv"
        rm "$work"/*.csv
        compared=$((compared + 1))
    done
    [ "$compared" -eq 10 ] || { echo "found $compared sensors in data/"; exit 1; }
    exit 0
fi

folder=$root/data/$name
id=$(basename "$folder"/Tg*.prm .prm)
arguments=(replay --prm "$folder" --id "${id#Tg}" "$folder/$name.csv")
silently "$native_kor" "${arguments[@]}" -o "$work/native.csv"
silently "${windows_kor[@]}" "${arguments[@]}" -o "$work/windows.csv"
"$python" "$here/compare_replays.py" "$name" "$work/native.csv" "$work/windows.csv"
silently "${windows_kor[@]}" compare --strict --tolerance "$5" "$work/windows.csv" "$folder/${name}_truth.csv"

# Bit for bit as stored for this toolchain.
as_command
"$python" "$root/tests/data/golden.py" check "$work/kor" "GNU Windows x86_64" "$name"
