#!/usr/bin/env bash
# Builds the library and the tool, replays the shipped recordings and holds the results against the truth.
# Installs what it needs (Debian 12; root or sudo).
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh
need "${build_packages[@]}"

log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { cmake --preset release && cmake --build --preset release; } >"$log" 2>&1; then
    cat "$log" >&2
    exit 1
fi

results=build/release/demo
mkdir -p "$results"
replay() { # NAME: one recording with its parameter file
    local id
    id=$(basename "data/$1"/Tg*.prm .prm)
    build/release/tools/kor replay --prm "data/$1" --id "${id#Tg}" "data/$1/$1.csv" -o "$results/$1.csv"
}

echo "== kor replay --prm data/polarizer --id 1005 data/polarizer/polarizer.csv"
replay polarizer 2>&1
echo
echo "== First rows of the results after the reference: time, calibrated angles, levels, orientation angles"
cut -d, -f1-8 "$results/polarizer.csv" | sed -n '1p;151,155p'
echo
echo "== Against the truth"
python3 data/compare.py "$results/polarizer.csv" data/polarizer/polarizer_truth.csv --limit 1e-5
echo
echo "== Every mount mode against its truth"
for folder in data/*/; do
    replay "$(basename "$folder")" 2>"$log" || { cat "$log" >&2; exit 1; }
done
python3 data/compare.py --table "$results"
echo
echo "All results: $results"
