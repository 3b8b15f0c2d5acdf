#!/usr/bin/env bash
# Compares the library with the independent implementation over seeded scenarios, number by number.
# Usage: campaign.sh DRIVER SEED...     (one seed: about half a minute)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
driver=$(realpath "$1")
shift
python=${KOR_PYTHON:-$(cmake -P "$here/../../cmake/Python.cmake")}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for seed in "$@"; do
    mkdir "$work/$seed"
    "$python" "$here/scenarios.py" "$work/$seed" --seed "$seed" >/dev/null
    "$python" "$here/replay.py" --all "$work/$seed" >/dev/null
    echo "seed $seed:"
    "$python" "$here/compare.py" --driver "$driver" "$work/$seed" | tail -n 50
    rm -r "${work:?}/$seed"
done
