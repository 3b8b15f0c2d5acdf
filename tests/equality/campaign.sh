#!/usr/bin/env bash
# Compares the library with its plain transcription over random samples and the shipped recordings, bit for bit.
set -euo pipefail
usage() {
    cat <<'END'
usage: tests/equality/campaign.sh PROGRAM SAMPLES SEED...

Feeds random engines and models, SAMPLES samples for each model and each SEED, and the shipped recordings to the library
and to its plain transcription, and compares the two, bit for bit. The exit status is 1 if they differ.

PROGRAM is the program equality of a built tree, for example build/dev/tests/equality/equality. SAMPLES and SEED are
whole numbers. Each model has a process of its own. Ten million samples take about half an hour on one core.
END
}
case ${1-} in
-h | --help) usage; exit 0 ;;
esac
refuse() { echo "campaign.sh: $*" >&2; usage >&2; exit 64; }
[ $# -ge 3 ] || refuse "expected a program, a number of samples and at least one seed, found $# arguments"
[ -f "$1" ] && [ -x "$1" ] || refuse "$1 is not a program; build the target equality first"
for given in "${@:2}"; do
    case $given in
    *[!0-9]* | '' | ???????????*) refuse "found \"$given\", expected a whole number below 10000000000" ;;
    esac
done
program=$(realpath "$1")
samples=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
shift 2

failed=0
"$program" recordings "$root"/data/*/ || failed=1
# The program lists the names of its series behind its usage.
names=$({ "$program" 2>&1 || true; } | sed -n 's/^  \([a-z_.]*\)$/\1/p')
for seed in "$@"; do
    echo "seed $seed:"
    printf '%s\n' "$names" | xargs -P "$(nproc)" -I{} "$program" random "$samples" "$seed" {} || failed=1
done
exit "$failed"
