#!/usr/bin/env bash
# Builds the library and the tool, replays the shipped recordings and holds the results against the truth.
# Installs what it needs (Debian 12; root or sudo).
set -euo pipefail
cd "$(dirname "$0")"
. scripts/packages.sh
need "${build_packages[@]}"

log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { cmake --preset release -DKORINTERFACE_BUILD_TESTS=OFF && cmake --build --preset release; } >"$log" 2>&1; then
    cat "$log" >&2
    exit 1
fi

results=build/release/demo/polarizer.csv
mkdir -p "$(dirname "$results")"
echo "== kor replay --prm data/polarizer --id 1005 data/polarizer/polarizer.csv"
build/release/tools/kor/kor replay --prm data/polarizer --id 1005 data/polarizer/polarizer.csv -o "$results"
echo
echo "== First rows of the results: time, azimuth, elevation, then the orientation angles"
cut -d, -f1-8 "$results" | sed -n '1p;151,155p'
echo
echo "== Against the truth"
python3 data/compare.py "$results" data/polarizer/polarizer_truth.csv --limit 5e-5
echo
echo "All results: $results"
