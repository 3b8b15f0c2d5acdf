#!/usr/bin/env bash
# Looks for misspelt words in comments, documents and texts of the program.
#   scripts/spelling.sh           all text files of the repository; ends with 1 and a line for each word that it finds
#   scripts/spelling.sh FILE...   these files
#   scripts/spelling.sh --itself  shows that a misspelt word is found, and that names of this field are not
# scripts/spelling.txt lists the words that are right here, each with the reason above it.
set -euo pipefail
cd "$(dirname "$0")/.."
usage="usage: scripts/spelling.sh [--itself|FILE...]"
case ${1:-} in
-h | --help) echo "$usage"; exit 0 ;;
--itself) [ $# -eq 1 ] || { echo "$usage" >&2; exit 64; } ;;
-*) echo "$usage" >&2; exit 64 ;;
esac
. scripts/packages.sh
need codespell

# The n of a line's end within a text is not a part of the word behind it.
look=(codespell --ignore-words scripts/spelling.txt --ignore-regex '\\[nt]' --quiet-level 3)

if [ "${1:-}" = --itself ]; then
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    # Put together here, because this file is looked at as well.
    printf '// A sample is %s.\n' "recie""ved" >"$work/wrong.h"
    printf '// Tranform to and fro, centre, polarizer, upTo, a\\nin b.\n' >"$work/right.h"
    "${look[@]}" "$work/right.h"
    ! "${look[@]}" "$work/wrong.h" >"$work/found" || { echo "a misspelt word is not found"; exit 1; }
    grep -q '==> received' "$work/found"
    echo "2 files"
elif [ $# -gt 0 ]; then
    "${look[@]}" "$@"
else
    # Recordings, results and inputs of the fuzzers hold no prose.
    git ls-files -z --cached --others --exclude-standard -- ':!*.csv' ':!*.korraw' ':!*.prm' ':!*.svg' ':!*.png' ':!fuzz/corpus' \
        ':!tests/data/golden' ':!tests/exports/*.txt' | xargs -0 "${look[@]}"
fi
