#!/usr/bin/env bash
# Compares the library with the independent implementation over seeded scenarios, number by number.
set -euo pipefail
usage() {
    cat <<'END'
usage: tests/reference/campaign.sh DRIVER SEED[/N]...

Writes some six hundred scenarios from each SEED, runs them through the library and through the independent
implementation in Python, and compares the two, number by number. The exit status is 1 if they differ.

DRIVER is the program reference_driver of a built tree, for example build/dev/tests/reference/reference_driver.
A SEED is a whole number; one takes about half a minute. With /N, N from 1 to 99, only every Nth of its scenarios runs.
END
}
case ${1-} in
-h | --help) usage; exit 0 ;;
esac
refuse() { echo "campaign.sh: $*" >&2; usage >&2; exit 64; }
[ $# -ge 2 ] || refuse "expected a driver and at least one seed, found $# arguments"
[ -f "$1" ] && [ -x "$1" ] || refuse "$1 is not a program; build the target reference_driver first"
for given in "${@:2}"; do
    seed=${given%%/*}
    case $given in
    "$seed" | "$seed"/[1-9] | "$seed"/[1-9][0-9]) ;;
    *) refuse "found \"$given\", expected a seed, or a seed, a slash and a number from 1 to 99" ;;
    esac
    case $seed in
    *[!0-9]* | '' | ??????????*) refuse "found the seed \"$seed\", expected a whole number below 1000000000" ;;
    esac
done
here=$(cd "$(dirname "$0")" && pwd)
driver=$(realpath "$1")
shift
python=${KOR_PYTHON:-$(cmake -P "$here/../../cmake/Python.cmake")}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for given in "$@"; do
    seed=${given%%/*}
    every=1
    [ "$given" = "$seed" ] || every=${given#*/}
    mkdir "$work/$seed"
    "$python" "$here/scenarios.py" "$work/$seed" --seed "$seed" >/dev/null
    # Neighbours by name are of one kind, so that some of each kind stay.
    find "$work/$seed" -name '*.scn' | sort | awk -v n="$every" 'NR % n != 1 % n' | xargs -r rm --
    "$python" "$here/replay.py" --all "$work/$seed" >/dev/null
    echo "seed $seed:"
    "$python" "$here/compare.py" --driver "$driver" "$work/$seed" | tail -n 50
    rm -r "${work:?}/$seed"
done
