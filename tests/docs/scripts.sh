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

for script in fuzz/run.sh tests/reference/campaign.sh ./demo.sh; do
    tells 0 out "$script" --help
    tells 0 out "$script" -h
done
for argument in '' 0 1x -1 99999999999; do
    tells 64 err fuzz/run.sh "$argument"
done
tells 64 err fuzz/run.sh 1 2
tells 64 err tests/reference/campaign.sh
tells 64 err tests/reference/campaign.sh /bin/true
tells 64 err tests/reference/campaign.sh /nonexistent 1
tells 64 err tests/reference/campaign.sh /bin/true 1 2x
tells 64 err ./demo.sh quickly
