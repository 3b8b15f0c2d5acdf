#!/usr/bin/env bash
# Measures the library and the tool beside their rivals and prints one table. Installs what it needs (Debian 12; root or
# sudo), builds what is released, and checks first that both sides of every comparison give the same answer.
set -euo pipefail
cd "$(dirname "$0")"

usage() {
    cat <<'END'
usage: bench.sh [--quick] [--markdown] [SECTION...]
       bench.sh --compare REV [--quick] [engine] [recordings]
SECTION is engine, mek, files or recordings; without one all of them run. Takes some minutes.
  --quick        fewer modes and rounds, shorter recordings
  --markdown     also writes the tables into docs/performance.md
  --compare REV  builds a revision of this repository beside this tree and runs both by turns; status 1 if a sample
                 takes more than one per cent more instructions than it did there
END
}
refuse() {
    printf 'bench.sh: %s\n' "$1" >&2
    usage >&2
    exit 64
}

revision=
arguments=()
while [ $# -gt 0 ]; do
    case $1 in
    -h | --help)
        usage
        exit
        ;;
    --compare)
        [ $# -gt 1 ] || refuse "--compare needs a revision"
        revision=$2
        shift
        ;;
    --markdown) arguments+=(--markdown docs/performance.md) ;;
    --quick | engine | mek | files | recordings) arguments+=("$1") ;;
    *) refuse "found \"$1\", expected a section or an option" ;;
    esac
    shift
done
if [ -n "$revision" ]; then
    git rev-parse --quiet --verify "$revision^{commit}" >/dev/null ||
        refuse "found the revision \"$revision\", expected one of this repository"
    for argument in "${arguments[@]}"; do
        [[ $argument =~ ^(--quick|engine|recordings)$ ]] ||
            refuse "--compare takes the sections engine and recordings, and writes no page"
    done
fi

. scripts/packages.sh
need "${build_packages[@]}" "${bench_packages[@]}"

# Configures and builds with the output in a log that is shown only if that fails.
quietly() {
    local log
    log=$(mktemp)
    "$@" >"$log" 2>&1 </dev/null || { tail -n 100 "$log"; rm -f "$log"; echo "failed: $*" >&2; exit 1; }
    rm -f "$log"
}
quietly cmake --preset bench
quietly cmake --build --preset bench --target kor engine_bench rivals_bench

if [ -z "$revision" ]; then
    exec python3 bench/bench.py build/bench "${arguments[@]}"
fi

old=$(mktemp -d)
trap 'git worktree remove --force "$old/source" 2>/dev/null; rm -rf "$old"' EXIT
quietly git worktree add --detach "$old/source" "$revision"
# The benchmarks are those of this tree, also for the old library: they know the public headers only.
quietly cmake -S "$old/source" -B "$old/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=g++ \
    -DKORINTERFACE_BUILD_TESTS=OFF -DKORINTERFACE_BUILD_BENCHMARKS=OFF
targets=(KORInterface kor)
[[ " ${arguments[*]} " != *" engine "* || " ${arguments[*]} " == *" recordings "* ]] || targets=(KORInterface)
quietly cmake --build "$old/build" --target "${targets[@]}"
quietly g++ -std=c++20 -O3 -DNDEBUG -ffp-contract=off -I "$old/source/include" -I . -I tests bench/engine_bench.cpp \
    tests/support/CountedNew.cpp build/bench/tests/literal/libkor_literal.a -L "$old/build" -lKORInterface \
    -Wl,-rpath,"$old/build" -pthread -o "$old/engine_bench"
python3 bench/compare.py build/bench "$old/engine_bench" "$old/build/tools/kor" "${arguments[@]}"
