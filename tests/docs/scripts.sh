#!/usr/bin/env bash
# The scripts that a user starts by hand tell their usage at once, and refuse what they do not understand.
set -euo pipefail
cd "$(dirname "$0")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

tells() { # STATUS STREAM COMMAND [ARGUMENT...]: ends with the status, at once, and prints the usage there and nothing else
    local status=0
    timeout 5 "${@:3}" >"$work/out" 2>"$work/err" </dev/null || status=$?
    [ "$status" -eq "$1" ] || { cat "$work/out" "$work/err"; echo "status $status, expected $1: ${*:3}"; exit 1; }
    grep -q "^usage: .*${3##*/}" "$work/$2" || { cat "$work/out" "$work/err"; echo "no usage on $2: ${*:3}"; exit 1; }
    [ "$(cat "$work/out" "$work/err" | wc -l)" -le 12 ] || { echo "too much is printed: ${*:3}"; exit 1; }
    [ "$2" = err ] || [ ! -s "$work/err" ] || { cat "$work/err"; echo "errors beside the usage: ${*:3}"; exit 1; }
    [ "$2" = out ] || [ ! -s "$work/out" ] || { cat "$work/out"; echo "output beside the refusal: ${*:3}"; exit 1; }
}

for script in ./fuzz.sh scripts/nightly.sh tests/reference/campaign.sh tests/equality/campaign.sh ./demo.sh ./bench.sh ./soak.sh \
    scripts/threads.sh scripts/report_size.py scripts/python.sh scripts/batch.sh ./docs.sh scripts/spelling.sh; do
    tells 0 out "$script" --help
    tells 0 out "$script" -h
done
for argument in '' 0 1x -1 99999999999; do
    tells 64 err ./fuzz.sh "$argument"
done
tells 64 err ./fuzz.sh
tells 64 err ./fuzz.sh 1 2
tells 64 err ./fuzz.sh --smoke reader
for argument in 0/1 2/1 1 1/x x/1 1/100000; do
    tells 64 err scripts/nightly.sh "$argument"
done
tells 64 err scripts/nightly.sh 1/2 1/2
tells 64 err tests/reference/campaign.sh
tells 64 err tests/reference/campaign.sh /bin/true
tells 64 err tests/reference/campaign.sh /nonexistent 1
tells 64 err tests/reference/campaign.sh /bin/true 1 2x
tells 64 err tests/equality/campaign.sh /bin/true 1
tells 64 err tests/equality/campaign.sh /nonexistent 1 1
tells 64 err tests/equality/campaign.sh /bin/true 1x 1
for argument in '' 0 1x -1 39999 10000000000; do
    tells 64 err ./soak.sh "$argument"
done
for argument in '' 1x -1 1000000; do
    tells 64 err scripts/threads.sh "$argument"
done
tells 64 err ./demo.sh quickly
tells 64 err ./docs.sh quickly
tells 64 err scripts/spelling.sh --quickly
tells 64 err scripts/spelling.sh --itself a
tells 64 err ./docs.sh --browser --browser
tells 64 err ./bench.sh quickly
tells 64 err scripts/python.sh quickly
tells 64 err scripts/python.sh --smoke --cost
tells 64 err scripts/batch.sh quickly
tells 64 err scripts/batch.sh --smoke --scaling
tells 64 err scripts/report_size.py
tells 64 err scripts/report_size.py /nonexistent
tells 64 err scripts/report_size.py /bin/true 5x
tells 64 err ./bench.sh --compare
tells 64 err ./bench.sh --compare "no such revision"
tells 64 err ./bench.sh --compare HEAD mek
tells 64 err ./bench.sh --compare HEAD --markdown

# demo.sh tells how far its build is while it runs, and nothing when there is nothing to build.
mkdir -p "$work/tree/scripts" "$work/bin"
cp demo.sh "$work/tree/"
printf 'need() { :; }\nbuild_packages=(none)\n' >"$work/tree/scripts/packages.sh"
cat >"$work/bin/cmake" <<'END'
#!/bin/sh
[ "$1" = --build ] || exit 0
cat "$KOR_STEPS"
for wait in $(seq 100); do
    [ -e "$KOR_STEPS.go" ] && [ ! -e "$KOR_STEPS.seen" ] || break
    sleep 0.05
done
exit 1
END
chmod +x "$work/bin/cmake"
demo() { KOR_STEPS=$work/steps PATH="$work/bin:$PATH" timeout 10 "$work/tree/demo.sh" 2>/dev/null || true; }
echo "ninja: no work to do." >"$work/steps"
[ -z "$(demo)" ] || { echo "demo.sh speaks of a build with nothing to do"; exit 1; }
for step in 1 2 3 4 5 6; do echo "[$step/40] Building CXX object a.o"; done >"$work/steps"
touch "$work/steps.go"
while IFS= read -r line; do
    case $line in
    "4 of 40 steps"*) touch "$work/steps.seen" ;;
    esac
done < <(demo)
[ -e "$work/steps.seen" ] || { echo "demo.sh does not tell how far its build is before the build ends"; exit 1; }
