#!/usr/bin/env bash
# Runs under ThreadSanitizer what works on several threads. Installs what it needs (Debian 12; root or sudo).
set -euo pipefail
cd "$(dirname "$0")/.."
usage() {
    cat <<'END'
usage: scripts/threads.sh [--smoke] [SECONDS]

Builds the preset tsan and runs, under ThreadSanitizer, threads that feed, configure, copy and read engines, read and check
files and pass blocks through a pipeline, for SECONDS (60 unless told), then the unit tests, and replays of every shipped
recording on four threads, whose results are to be those of one thread. With --smoke only the threads, for 5 seconds.
The exit status is 1 when something is found.
END
}
smoke=false
seconds=60
while [ $# -gt 0 ]; do
    case $1 in
    -h | --help) usage; exit 0 ;;
    --smoke) smoke=true seconds=5 ;;
    *[!0-9]* | '' | ???????*)
        echo "threads.sh: found \"$1\", expected a number of seconds" >&2
        usage >&2
        exit 64
        ;;
    *) seconds=$1 ;;
    esac
    shift
done
. scripts/packages.sh
need "${build_packages[@]}" "${test_packages[@]}"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
quietly() { "$@" >"$folder/log" 2>&1 </dev/null || { tail -n 200 "$folder/log"; echo "failed: $*" >&2; exit 1; }; }
quietly cmake --preset tsan
if $smoke; then
    quietly cmake --build --preset tsan --target threads
    build/tsan/tests/endurance/threads "$seconds" 1 data
    exit
fi
quietly cmake --build --preset tsan
build/tsan/tests/endurance/threads "$seconds" "$RANDOM" data
ctest --preset tsan -L unit -j "$(nproc)" | tail -n 4
shopt -s nullglob
replays=0
for recording in data/*/*.csv data/*/*.korraw; do
    directory=$(dirname "$recording")
    set -- "$directory"/Tg*.prm
    identity=${1##*/Tg}
    for format in csv korinfo; do
        for threads in 1 4; do
            # A recording that does not fit its file ends with another status, and the same one on any number of threads.
            status=0
            build/tsan/tools/kor replay --threads "$threads" --prm "$directory" --id "${identity%.prm}" --progress=never \
                --force --quiet "$recording" -o "$folder/$threads.$format" >"$folder/$threads.log" 2>&1 || status=$?
            echo "$status" >>"$folder/$threads.log"
            if grep -q ThreadSanitizer "$folder/$threads.log"; then
                cat "$folder/$threads.log"
                exit 1
            fi
        done
        cmp "$folder/1.log" "$folder/4.log"
        cmp "$folder/1.$format" "$folder/4.$format"
        replays=$((replays + 1))
    done
done
[ "$replays" -gt 0 ] || { echo "threads.sh: found no recordings in data" >&2; exit 1; }
echo "$replays replays on four threads: the same as on one"
