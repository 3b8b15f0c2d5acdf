#!/usr/bin/env bash
# Fuzzes what takes bytes from outside, with AddressSanitizer and UndefinedBehaviorSanitizer. Installs what it needs
# (Debian 12; root or sudo).
set -euo pipefail
cd "$(dirname "$0")"
root=$PWD
names=(reader reader_literal rewriter engine models recordings way_points prm_json capi)

usage() {
    cat <<END
usage: fuzz.sh MINUTES [NAME...]    runs the fuzzers, or all of them, as many at a time as there are cores
       fuzz.sh --smoke              replays the corpora and runs each fuzzer for ten seconds
       fuzz.sh --minimise           makes fuzz/corpus anew from it and what build/fuzz/corpus has learned
NAME is ${names[*]}.
A run goes on from fuzz/corpus and build/fuzz/corpus; an input that breaks a promise is put into build/fuzz/findings, and
the exit status is 1.
END
}
refuse() {
    printf 'fuzz.sh: %s\n' "$1" >&2
    usage >&2
    exit 64
}

mode=run
case ${1-} in
-h | --help)
    usage
    exit
    ;;
--smoke | --minimise)
    mode=${1#--}
    [ $# -eq 1 ] || refuse "found \"$2\" behind $1, expected nothing"
    seconds=10
    ;;
*[!0-9]* | '' | 0* | ??????*) refuse "found \"${1-}\", expected a whole number of minutes from 1 to 99999" ;;
*)
    seconds=$((60 * $1))
    for name in "${@:2}"; do
        [ -f "fuzz/$name.cpp" ] || refuse "found \"$name\", expected the name of a fuzzer"
    done
    [ $# -eq 1 ] || names=("${@:2}")
    ;;
esac

. scripts/packages.sh
need "${build_packages[@]}" "${fuzz_packages[@]}"

findings=$root/build/fuzz/findings
# The files of the fuzzers lie in memory, if there is room for files.
work=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")" kor-fuzz.XXXXXX)
running=()
trap '[ ${#running[@]} -eq 0 ] || kill "${running[@]}" 2>/dev/null || true; wait; rm -rf "$work"' EXIT
# The fuzzers of the preset asan count edges without looking into comparisons, which will do for seconds; it may be built
# already.
preset=fuzz
[ "$mode" = run ] || preset=asan
{ cmake --preset "$preset" && cmake --build --preset "$preset" --target fuzzers; } >"$work/build" 2>&1 </dev/null ||
    { tail -n 100 "$work/build" >&2; exit 1; }

# In a subshell, which becomes the fuzzer. Each has its own folder, as some change the current one. What they learn goes
# into the first folder of those behind the options.
fuzz() { # NAME [OPTION...] FOLDER...
    local name=$1
    shift
    mkdir -p "$work/$name" "$findings"
    cd "$work/$name"
    export TMPDIR=$work/$name ASAN_OPTIONS=allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1
    exec "$root/build/$preset/fuzz/$name" -dict="$root/fuzz/dictionaries/$(dictionary "$name")" \
        -max_len="$(longest "$name")" -timeout=20 -rss_limit_mb=2048 -artifact_prefix="$findings/$name-" "$@"
}
dictionary() {
    case $1 in
    reader* | rewriter) echo prm.dict ;;
    engine | models) echo numbers.dict ;;
    capi) echo recordings.dict ;;
    *) echo "$1.dict" ;;
    esac
}
longest() {
    case $1 in
    engine | models) echo 4096 ;;
    way_points) echo 2048 ;;
    *) echo 12000 ;;
    esac
}

minimise() {
    local name
    for name in "${names[@]}"; do
        mkdir -p "$work/corpus/$name" "build/fuzz/corpus/$name" "fuzz/corpus/$name"
        # By edges alone: how often each is passed would keep ten times as many inputs.
        (fuzz "$name" -merge=1 -use_counters=0 "$work/corpus/$name" "$root/fuzz/corpus/$name" \
            "$root/build/fuzz/corpus/$name") >"$work/$name.log" 2>&1 || { tail -n 60 "$work/$name.log" >&2; exit 1; }
        rm -rf "fuzz/corpus/$name"
        mv "$work/corpus/$name" "fuzz/corpus/$name"
        printf '%-16s %4d inputs, %s\n' "$name" "$(find "fuzz/corpus/$name" -type f | wc -l)" \
            "$(du -sh --apparent-size "fuzz/corpus/$name" | cut -f 1)"
    done
}

run() {
    local name learned
    for name in "${names[@]}"; do
        while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do
            wait -n || true
        done
        learned=$root/build/fuzz/corpus/$name
        [ "$mode" = run ] || learned=$work/learned/$name
        mkdir -p "$learned" "fuzz/corpus/$name"
        fuzz "$name" -max_total_time="$seconds" -print_final_stats=1 "$learned" "$root/fuzz/corpus/$name" \
            >"$work/$name.log" 2>&1 </dev/null &
        running+=($!)
    done
    local index=0 failed=0 log executed rate edges found
    printf '| Target | Executions | Per second | Edges | Findings |\n|---|---:|---:|---:|---:|\n'
    for name in "${names[@]}"; do
        found=0
        wait "${running[index++]}" || found=1
        failed=$((failed + found))
        log=$work/$name.log
        executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
        rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
        edges=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
        printf '| %s | %s | %s | %s | %s |\n' "$name" "${executed:-unknown}" "${rate:-unknown}" "${edges:-unknown}" \
            "$found"
        [ "$found" -eq 0 ] || cp "$log" "$findings/$name.log"
    done
    running=()
    if [ "$failed" -gt 0 ]; then
        for name in "${names[@]}"; do
            if [ "$findings/$name.log" -nt "$work/build" ]; then
                grep -vE '^#[0-9]+\s' "$findings/$name.log" | tail -n 40
            fi
        done
        echo "Inputs and logs are in build/fuzz/findings." >&2
        exit 1
    fi
}

case $mode in
minimise) minimise ;;
*) run ;;
esac
