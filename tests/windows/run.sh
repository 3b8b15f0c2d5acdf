#!/usr/bin/env bash
# Runs a Windows program under Wine with a prefix of its own, without a display.
#   run.sh PREFIX PROGRAM [ARGUMENT...]         the program; its exit status
#   run.sh PREFIX --each FILTER PROGRAM         the tests of a GoogleTest program; each of those that the filter names
#                                               has a process of its own
#   run.sh PREFIX --start                       makes the prefix and keeps its server ready for a while
#   run.sh PREFIX --stop
set -euo pipefail
WINEPREFIX=$(realpath -m "$1")
export WINEPREFIX WINEDEBUG=-all WINEARCH=win64 WINEDLLOVERRIDES='mscoree,mshtml=' LC_ALL=C.UTF-8
unset DISPLAY
mkdir -p "$WINEPREFIX"
shift

# Wine places a program at fixed addresses, and where the kernel's random choice of addresses has taken them, about one
# start in three thousand fails: in silence before the program runs, or in the dynamic linker behind its end.
fixed=()
if setarch -R true 2>/dev/null; then
    fixed=(setarch -R)
fi

# True if a run failed without the program's doing: none of ours ends with 1 without a word, or has the linker fail.
emulator_failed() {
    case $1 in
    1) [ ! -s "$work/out" ] && [ ! -s "$work/err" ] ;;
    127) grep -q '^Inconsistency detected by ld\.so: ' "$work/err" ;;
    *) false ;;
    esac
}

# Wine's own services start with the first program and inherit its output. They outlive it, so whoever reads that output
# to its end through a pipe would wait for them; hence a file.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
run() {
    local status attempt
    for attempt in 1 2 3; do
        status=0
        "${fixed[@]}" wine "$@" >"$work/out" 2>"$work/err" || status=$?
        emulator_failed "$status" || break
        printf '%s: attempt %d, status %d\n' "$*" "$attempt" "$status" >>"$WINEPREFIX/failures.log"
    done
    cat "$work/out"
    cat "$work/err" >&2
    return "$status"
}

case $1 in
--start)
    # Silent and away from our output: the server outlives this script, and whoever waits for the output's end.
    wineserver -p120 </dev/null >/dev/null 2>&1 || true # fails when it is running already
    if [ ! -e "$WINEPREFIX/ready" ]; then
        "${fixed[@]}" wineboot --init </dev/null >/dev/null 2>&1
        touch "$WINEPREFIX/ready"
    fi
    ;;
--stop)
    wineserver -k </dev/null >/dev/null 2>&1 || true
    ;;
--each)
    filter=$2
    program=$3
    failed=()
    # Runs the tests of a filter in one process. GoogleTest alone knows whether it ran to its end.
    tests_pass() {
        local output
        output=$(run "$program" --gtest_filter="$1" --gtest_color=no 2>&1 </dev/null) &&
            grep -q "\[  PASSED  \] $2 test" <<<"$output" || { printf '%s\n' "$output"; failed+=("$1"); }
    }
    # The list shows a suite's name, then its tests indented; a comment may follow either.
    names() {
        run "$program" --gtest_list_tests --gtest_filter="$1" | tr -d '\r' |
            awk '/^[^ ]/ { suite = $1 } /^  / { print suite $1 }'
    }
    mapfile -t alone < <(names "$filter")
    mapfile -t together < <(names "-$filter")
    [ "${#alone[@]}" -gt 0 ] || { echo "$program has no test $filter" >&2; exit 1; }
    for test in "${alone[@]}"; do
        tests_pass "$test" 1
    done
    if [ "${#together[@]}" -gt 0 ]; then
        tests_pass "-$filter" "${#together[@]}"
    fi
    echo "${#alone[@]} tests, each in a process of its own, and ${#together[@]} in one"
    [ "${#failed[@]}" -eq 0 ] || { printf 'failed: %s\n' "${failed[@]}"; exit 1; }
    ;;
*)
    run "$@"
    ;;
esac
