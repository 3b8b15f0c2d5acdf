#!/usr/bin/env bash
# Checks of the shipped recordings. Usage: recordings.sh reproduce | verify | replay KOR NAME LIMIT | twice KOR NAME
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
python=${KOR_PYTHON:-$(cmake -P "$root/cmake/Python.cmake")}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

replay() { # KOR NAME RESULTS
    local folder=$root/data/$2 id
    id=$(basename "$folder"/Tg*.prm .prm)
    "$1" replay --prm "$folder" --id "${id#Tg}" "$folder/$2.csv" -o "$3" 2>"$work/summary" ||
        { cat "$work/summary"; exit 1; }
}

case $1 in
reproduce)
    "$python" "$root/data/generate.py" --out "$work/data" >/dev/null
    same=0
    while IFS= read -r file; do
        cmp "$root/data/$file" "$work/data/$file"
        same=$((same + 1))
    done < <(cd "$root/data" && git ls-files -- '*/*')
    made=$(find "$work/data" -type f | wc -l)
    [ "$same" -ge 31 ] && [ "$same" -eq "$made" ] || { echo "shipped $same files, generated $made"; exit 1; }
    ;;
verify)
    cp -r "$root/data" "$work/data"
    "$python" "$work/data/generate.py" --verify
    ;;
replay)
    replay "$2" "$3" "$work/results.csv"
    "$python" "$root/data/compare.py" "$work/results.csv" "$root/data/$3/$3_truth.csv" --limit "$4"
    ;;
twice)
    replay "$2" "$3" "$work/first.csv"
    replay "$2" "$3" "$work/second.csv"
    cmp "$work/first.csv" "$work/second.csv"
    [ "$(wc -l <"$work/first.csv")" -gt 1000 ]
    ;;
*)
    exit 2
    ;;
esac
