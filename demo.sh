#!/usr/bin/env bash
# Builds the library and the tool, replays the shipped recordings, holds the results against the truth and writes a page
# about one of them.
# Installs what it needs (Debian 12; root or sudo).
set -euo pipefail
cd "$(dirname "$0")"
usage() { echo "usage: ./demo.sh     (no arguments; builds in build/release, results in build/release/demo)"; }
case $#:${1-} in
0:) ;;
1:--help | 1:-h) usage; exit 0 ;;
*) usage >&2; exit 64 ;;
esac
. scripts/packages.sh
need "${build_packages[@]}"

log=$(mktemp)
trap 'rm -f "$log"' EXIT

# Tells how far a build is, from Ninja's lines "[done/all] ...": on a terminal in one line that is written over, elsewhere
# in a line at every tenth, and in either case after every 15 seconds without news. A build with nothing to do has no such
# line, and nothing is shown.
build_progress() {
    local line status steps='' what='' tenth=0
    tell() {
        if [ -t 1 ]; then
            printf '\r\033[K%s steps, %d s: %.60s' "$steps" "$SECONDS" "$what"
        else
            echo "$steps steps after $SECONDS s"
        fi
    }
    while true; do
        status=0
        IFS= read -r -t 15 line || status=$?
        if ((status > 128)); then
            [ -z "$steps" ] || tell
            continue
        fi
        ((status == 0)) || break
        [[ $line =~ ^\[([0-9]+)/([0-9]+)\]\ (.*) ]] || continue
        if [ -z "$steps" ]; then
            echo "== Building the library and the tool in build/release (some minutes the first time)"
        fi
        steps="${BASH_REMATCH[1]} of ${BASH_REMATCH[2]}"
        what=${BASH_REMATCH[3]##* }
        if [ -t 1 ] || ((10 * BASH_REMATCH[1] / BASH_REMATCH[2] > tenth)); then
            tenth=$((10 * BASH_REMATCH[1] / BASH_REMATCH[2]))
            tell
        fi
    done
    if [ -n "$steps" ]; then
        if [ -t 1 ]; then
            printf '\r\033[K'
        fi
        echo "the build ended after $SECONDS s"
        echo
    fi
}

if ! { cmake --preset release && NINJA_STATUS='[%f/%t] ' cmake --build --preset release; } 2>&1 | tee "$log" | build_progress; then
    cat "$log" >&2
    exit 1
fi

kor=build/release/tools/kor
results=build/release/demo
mkdir -p "$results"
replay() { # NAME: one recording with its parameter file
    local id
    id=$(basename "data/$1"/Tg*.prm .prm)
    "$kor" replay --prm "data/$1" --id "${id#Tg}" "data/$1/$1.csv" -o "$results/$1.csv"
}

echo "== $kor replay --prm data/polarizer --id 1005 data/polarizer/polarizer.csv -o $results/polarizer.csv"
replay polarizer 2>&1
echo
echo "== First rows of the results after the reference: time, calibrated angles, levels, orientation angles"
cut -d, -f1-8 "$results/polarizer.csv" | sed -n '1p;151,155p'
echo
echo "== Against the truth"
"$kor" compare "$results/polarizer.csv" data/polarizer/polarizer_truth.csv --tolerance 1e-5
echo
echo "== Every mount mode against its truth"
for folder in data/*/; do
    name=$(basename "$folder")
    replay "$name" 2>"$log" || { cat "$log" >&2; exit 1; }
    printf '%-18s' "$name"
    "$kor" compare --brief "$results/$name.csv" "$folder${name}_truth.csv"
done
echo
echo "== A page to look at: findings, orientation in space, charts, errors, parameters"
"$kor" report "$results/polarizer.csv" --truth data/polarizer/polarizer_truth.csv --prm data/polarizer --id 1005 \
    -o "$results/report.html"
echo "open $results/report.html in a browser; it needs no network"
echo
echo "The tool: $kor. All results: $results"
