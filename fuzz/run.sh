#!/usr/bin/env bash
# Fuzzes the parameter-file reader. Usage: run.sh [SECONDS]
# Builds with the preset "fuzz"; starts from the shipped parameter files and keeps what it learns in build/fuzz/corpus.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
need "${build_packages[@]}" "${fuzz_packages[@]}"

log=$(mktemp)
trap 'rm -f "$log"' EXIT
{ cmake --preset fuzz && cmake --build --preset fuzz; } >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
mkdir -p build/fuzz/corpus build/fuzz/seeds
for file in data/*/Tg*.prm; do
    id=$(basename "$file" .prm)
    sed "s/^${id#Tg}\$/7/" "$file" >"build/fuzz/seeds/$id"
done
build/fuzz/fuzz/prm_fuzzer -max_total_time="${1:-60}" -max_len=20000 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix=build/fuzz/ build/fuzz/corpus build/fuzz/seeds >"$log" 2>&1 || { tail -n 60 "$log"; exit 1; }
grep -E 'stat::number_of_executed_units|stat::average_exec_per_sec|^Done' "$log"
