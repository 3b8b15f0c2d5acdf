#!/usr/bin/env bash
# soak.sh BUILD SAMPLES: one long recording for each mount mode, as many at a time as there are processors.
set -euo pipefail
build=$1
samples=$2
data=$(cd "$(dirname "$0")/../../data" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

soak() {
    local directory=$1 identity=$2 samples=$3
    local recording=$folder/$identity.korraw
    "$build/tools/kor" simulate --prm "$directory" --id "$identity" --motion random --rate 1000 --samples 20000 \
        --reference 5 --progress=never --force -o "$recording" >"$folder/$identity.log" 2>&1 ||
        { cat "$folder/$identity.log"; return 1; }
    "$build/tests/endurance/soak" "$directory" "$identity" "$recording" "$samples"
}
export -f soak
export build folder
for file in "$data"/*/Tg10[01][0-9].prm; do
    identity=${file##*/Tg}
    printf '%s\0%s\0%s\0' "$(dirname "$file")" "${identity%.prm}" "$samples"
done | xargs -0 -n 3 -P "$(nproc)" bash -c 'soak "$@"' soak
