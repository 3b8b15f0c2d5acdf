#!/usr/bin/env bash
# Replays an archive of a thousand recordings on a cluster of this machine, compares it with kor replay file by file, and
# does to it what may happen: killed workers, a scheduler that goes, unreadable files, a full disk.
#   scripts/batch.sh            a thousand recordings, minutes
#   scripts/batch.sh --smoke    eighty-four recordings
#   scripts/batch.sh --scaling  how much faster two workers are than one, and what a recording and a task cost
# The full disk is a small file system of its own, so it has to run as root.
set -euo pipefail
cd "$(dirname "$0")/.."
usage="usage: scripts/batch.sh [--smoke|--scaling]"
part=${1:-all}
[ $# -le 1 ] || { echo "$usage" >&2; exit 64; }
case $part in
-h | --help) echo "$usage"; exit 0 ;;
all | --smoke | --scaling) ;;
*) echo "$usage" >&2; exit 64 ;;
esac

scripts/python.sh --build
export PATH=$PWD/build/python-venv/bin:$PATH PYTHONDONTWRITEBYTECODE=1
export KOR=${KOR:-$PWD/build/release/tools/kor} KOR_ROOT=$PWD
case $part in
--scaling) exec python python/bench/scaling.py ;;
--smoke) export KOR_RECORDINGS=84 ;;
esac
exec python -m pytest -q -s --durations=0 python/tests/campaign_batch.py
