#!/usr/bin/env bash
# Feeds one engine of every mount mode for a day of samples at 1 kHz, and checks that memory and cost stay as they are and
# results those of a fresh engine. Installs what it needs (Debian 12; root or sudo).
set -euo pipefail
cd "$(dirname "$0")"
usage() {
    cat <<'END'
usage: soak.sh [SAMPLES]

SAMPLES for each mount mode, 86400000 unless told: a day at 1 kHz, some ten minutes on two cores. Prints a line for each
mode. The exit status is 1 when memory has grown, a result differs or samples have become dearer; fewer than 2,500,000
take too short a time for a judgement on that.
END
}
case ${1-} in
-h | --help) usage; exit 0 ;;
esac
samples=${1-86400000}
case $samples in
*[!0-9]* | '' | 0* | ???????????*) enough=false ;;
*) [ "$samples" -ge 40000 ] && enough=true || enough=false ;;
esac
if ! $enough; then
    echo "soak.sh: found \"$samples\", expected a number of samples from 40000 to 9999999999" >&2
    usage >&2
    exit 64
fi
. scripts/packages.sh
need "${build_packages[@]}" "${test_packages[@]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
quietly() { "$@" >"$log" 2>&1 </dev/null || { tail -n 100 "$log"; echo "failed: $*" >&2; exit 1; }; }
quietly cmake --preset release-tests
quietly cmake --build --preset release-tests --target kor soak
tests/endurance/soak.sh "$PWD/build/release-tests" "$samples"
