#!/usr/bin/env bash
# Fuzzes the parameter-file reader.
# Builds with the preset "fuzz"; starts from the shipped parameter files and keeps what it learns in build/fuzz/corpus.
set -euo pipefail
usage() {
    cat <<'END'
usage: fuzz/run.sh [SECONDS]

Builds the fuzzer of the parameter-file reader (preset fuzz, clang), runs it for SECONDS (60) and prints how many files
it tried. It starts from the shipped parameter files and keeps what it learns in build/fuzz/corpus. A file that breaks
the reader is left in build/fuzz; the exit status is then 1.
END
}
[ $# -le 1 ] || { usage >&2; exit 64; }
case ${1-60} in
-h | --help) usage; exit 0 ;;
*[!0-9]* | '' | 0* | ??????????*)
    echo "fuzz/run.sh: found \"$1\", expected a whole number of seconds from 1 to 999999999" >&2
    usage >&2
    exit 64
    ;;
esac
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
