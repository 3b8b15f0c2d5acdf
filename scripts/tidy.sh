#!/usr/bin/env bash
# Runs clang-tidy with the checks of .clang-tidy. Usage: tidy.sh [FILE...]   (by default every source of the product)
# Needs the packages that check.sh installs. Nothing is compiled: the preset "tidy" only says how each source would be.
set -euo pipefail
cd "$(dirname "$0")/.."
log=$(mktemp)
trap 'rm -f "$log"' EXIT

cmake --preset tidy >"$log" 2>&1 || { cat "$log"; exit 1; }
if [ $# -gt 0 ]; then
    files=("$@")
else
    # The tool's sources take longest, so they come first: the list is sorted backwards.
    mapfile -t files < <(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' build/tidy/compile_commands.json | sort -ru)
    [ "${#files[@]}" -ge 40 ] || { echo "only ${#files[@]} sources are listed in build/tidy"; exit 1; }
fi
# A finding in a header comes once for each source that includes it.
if ! printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p build/tidy >"$log" 2>/dev/null; then
    awk '!seen[$0]++' "$log"
    exit 1
fi
echo "${#files[@]} sources, no findings"
