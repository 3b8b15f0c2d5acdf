#!/usr/bin/env bash
# Checks of the shipped recordings.
#   recordings.sh reproduce KOR           the program makes the same bytes again
#   recordings.sh verify KOR NAME LIMIT   an implementation of its own confirms recording, truth and results
#   recordings.sh replay KOR NAME LIMIT   the results meet the truth
#   recordings.sh twice KOR NAME          two processes give the same results
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
    "$root/data/make.sh" "$2" "$work/data" 2>/dev/null
    same=0
    while IFS= read -r file; do
        cmp "$root/data/$file" "$work/data/$file"
        same=$((same + 1))
    done < <(cd "$work/data" && find . -type f)
    # Ten recordings with their truths, one of them binary, too.
    [ "$same" -eq 21 ] || { echo "made $same files, expected 21"; exit 1; }
    ;;
verify)
    replay "$2" "$3" "$work/results.csv"
    "$python" "$root/tests/reference/recordings.py" "$3" --results "$work/results.csv" --limit "$4"
    ;;
replay)
    replay "$2" "$3" "$work/results.csv"
    "$2" compare --brief --strict --tolerance "$4" "$work/results.csv" "$root/data/$3/$3_truth.csv"
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
