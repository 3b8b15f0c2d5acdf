#!/usr/bin/env bash
# Of a build with sanitizers: some commands of every kind, over sound and damaged files. The sanitizers end a command that
# does wrong, or leaks, with a status that none of them has.
#
#   sanitized.sh KOR
set -euo pipefail
kor=$1
data=$(cd "$(dirname "$0")/../../data" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export ASAN_OPTIONS=exitcode=99:detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:exitcode=99 LSAN_OPTIONS=exitcode=98

tells() { # STATUS ARGUMENT...: kor ends with the status
    local status=0
    "$kor" "${@:2}" >out 2>err </dev/null || status=$?
    [ "$status" -eq "$1" ] || { cat err; echo "status $status, expected $1: kor ${*:2}"; exit 1; }
}

# Recordings of some rows: the two-level model keeps buffers on purpose, which is not a leak.
head -n 200 "$data/two_level/two_level.csv" >two.csv
head -n 200 "$data/two_level/two_level_truth.csv" >two_truth.csv
head -n 160 "$data/polarizer/polarizer.csv" >one.csv
head -c $((68 * 160 + 12)) "$data/polarizer/polarizer.korraw" >cut.korraw
sed '30s/,[^,]*,/,x,/' one.csv >bad.csv
gzip -nc one.csv | head -c 900 >cut.csv.gz
two=(--prm "$data/two_level" --id 1009)
one=(--prm "$data/polarizer" --id 1005)

tells 0 replay "${two[@]}" two.csv -o two_results.csv --threads 3
tells 0 replay "${two[@]}" two.csv -o two_results.korinfo --store --summary json --threads 1
mkdir copies && cp one.csv copies/other.csv
tells 0 replay "${one[@]}" one.csv copies/other.csv -o results
tells 65 replay "${one[@]}" bad.csv -o bad_results.csv
tells 0 replay "${one[@]}" bad.csv cut.korraw --skip-bad -o left
tells 65 replay "${one[@]}" cut.csv.gz -o cut_results.csv
tells 66 replay "${one[@]}" missing.csv
tells 64 replay --mode 99
tells 0 compare two_results.csv two_truth.csv
tells 1 compare two_results.csv two_truth.csv --tolerance 1e-30
tells 0 convert two_results.korinfo two_again.csv.gz
tells 0 convert one.csv one.korraw.zst
tells 0 convert one.korraw.zst one_again.csv --every 3
tells 65 convert cut.korraw whole.csv
tells 0 plot two_results.csv two_results.korinfo one.korraw.zst --truth two_truth.csv -o pictures.svg.gz
tells 64 plot one.csv --columns none -o none.png
tells 0 simulate "${one[@]}" --motion "$data/polarizer/way_points.csv" --samples 60 -o made.csv --truth made_truth.csv
tells 0 accuracy --mode 9 --poses 20
tells 0 accuracy --budget "${two[@]}"
file=$data/polarizer/Tg1005.prm
tells 0 prm show "$file"
tells 0 prm json "$file" -o file.json
tells 0 prm from-json file.json -o Tg1005.prm
tells 0 prm diff "$file" Tg1005.prm
sed 's/^Scale Factor$/Scale/' Tg1005.prm >Tg5.prm
tells 65 prm check Tg5.prm
head -c 300 file.json >cut.json
tells 65 prm from-json cut.json
tells 0 prm check "$data"/two_level
tells 0 prm new --mode 4 --id 8 -o Tg8.prm
sed '/^Mounting Mode$/,$d' Tg8.prm >Tg9.prm
tells 0 prm rewrite Tg9.prm
tells 65 prm rewrite Tg8.prm
