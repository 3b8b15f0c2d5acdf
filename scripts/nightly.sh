#!/usr/bin/env bash
# What takes too long for ctest: inputs tried in full, and long comparisons with fresh random numbers.
set -euo pipefail
cd "$(dirname "$0")/.."
usage() {
    cat <<'END_OF_USAGE'
usage: scripts/nightly.sh [PART/PARTS]

Runs, on a build of the preset dev: every 32-bit pattern of a level reading through the spline of an engine, of three tables,
in order and in jumps; parameter files of every mount mode cut at every byte, against the C library's formatted input;
the comparisons with the independent implementation and the plain transcription, with seeds that the date gives; and all
memory, system calls and places that can fail (tests/faults/faults.py). Then the unit tests with the checks of the C and C++
libraries (preset checked), and the hardening of an optimised build and of its packages (preset release-tests); all tests of
the Windows build under Wine (preset mingw); clang-tidy on the tool as well, and the manual with its warnings and links.

With PART/PARTS, for example 1/100, only that part of the level readings. An hour and a quarter of a processor in all, of which
the builds are half. Needs the packages that check.sh installs. The exit status is 1 when something differs.
END_OF_USAGE
}
refuse() { echo "nightly.sh: $*" >&2; usage >&2; exit 64; }
part=1
parts=1
case ${1-} in
-h | --help) usage; exit 0 ;;
'') ;;
*/*) part=${1%%/*} parts=${1#*/} ;;
*) refuse "found \"$1\", expected PART/PARTS" ;;
esac
[ $# -le 1 ] || refuse "expected at most one argument, found $#"
for number in "$part" "$parts"; do
    case $number in
    *[!0-9]* | '' | 0* | ??????*) refuse "found \"$number\", expected a whole number from 1 to 99999" ;;
    esac
done
((part <= parts)) || refuse "part $part is none of $parts"

tree=build/dev
log=$(mktemp)
trap 'rm -f "$log"' EXIT
quietly() { "$@" >"$log" 2>&1 || { tail -n 50 "$log"; echo "failed: $*" >&2; exit 1; }; }
step() { printf '%s (after %d s)\n' "$*" "$SECONDS"; }
# A preset, with options of its configuration.
built() {
    quietly cmake --preset "$@"
    quietly cmake --build --preset "$1"
}
# A preset, with options that choose among its tests.
tested() {
    quietly ctest --preset "$@" -j "$processors"
    grep 'tests passed' "$log"
}

step "build"
quietly cmake --preset dev
quietly cmake --build --preset dev --target every_level_reading params_test equality reference_driver kor faults faults_host

step "every level reading, part $part of $parts"
# A part of its own for each processor.
processors=$(nproc)
children=()
for ((i = 1; i <= processors; i++)); do
    "$tree/tests/exhaustive/every_level_reading" $(((part - 1) * processors + i)) $((parts * processors)) &
    children+=($!)
done
failed=0
for child in "${children[@]}"; do
    wait "$child" || failed=1
done
[ "$failed" -eq 0 ] || { echo "failed: every_level_reading" >&2; exit 1; }

step "parameter files of every mode, cut at every byte"
KOR_NIGHTLY=1 quietly "$tree/tests/params/params_test" --gtest_filter='AgainstFormattedInput.filesCutAtEveryByteAgree'

seed=$(date +%Y%m%d)
step "independent implementation, seed $seed"
quietly tests/reference/campaign.sh "$tree/tests/reference/reference_driver" "$seed"

step "plain transcription, seed $seed"
quietly tests/equality/campaign.sh "$tree/tests/equality/equality" 1000000 "$seed"
step "memory, system calls and places that fail"
quietly tests/faults/faults.py "$tree/tools/kor" "$tree/tests/faults/libfaults.so" "$tree/tests/faults/faults_host"
tail -n 1 "$log"

for preset in checked release-tests; do
    step "build of the preset $preset"
    built "$preset"
done
step "unit tests with the libraries' checks"
commands=build/checked/compile_commands.json
grep -q -- '-D_FORTIFY_SOURCE=3' "$commands" && ! grep -q -- '-D_FORTIFY_SOURCE=[^3]' "$commands" ||
    { echo "failed: the preset checked has another level of checks" >&2; exit 1; }
tested checked -L unit
step "hardening of an optimised build and its packages"
tested release-tests -R '^(hardening|packages)\.'
step "Windows build under Wine, all tests"
built mingw -DKORINTERFACE_TESTS_SMOKE=OFF -DKORINTERFACE_JOIN=ON
tested mingw
step "clang-tidy, on the tool as well"
quietly scripts/tidy.sh
step "manual: warnings, links, search"
quietly ./docs.sh --browser
step "no differences"
