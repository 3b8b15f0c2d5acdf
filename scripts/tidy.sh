#!/usr/bin/env bash
# Runs clang-tidy with the checks of .clang-tidy. Usage: tidy.sh [--library | FILE...]   (by default every source of the
# product; --library leaves out the tool, whose header-only libraries take as long as all the rest)
# Needs the packages that check.sh installs. Nothing is compiled: the preset "tidy" only says how each source would be,
# and makes the page of kor report, which a source includes.
# It puts the sources of a folder into one, so that the headers that they share are looked at once.
set -euo pipefail
cd "$(dirname "$0")/.."
log=$(mktemp)
trap 'rm -f "$log"' EXIT

{ cmake --preset tidy && cmake --build build/tidy --target kor_page; } >"$log" 2>&1 || { cat "$log"; exit 1; }
left_out='^$'
if [ "${1-}" = --library ]; then
    left_out='^tools/'
    shift
fi
if [ $# -gt 0 ]; then
    files=("$@")
else
    # The tool takes longest, so it comes first: the list is sorted backwards.
    # The benchmarks, and what they take from the tests, are not the product's: scripts/tidy.sh FILE looks at them.
    mapfile -t files < <(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' build/tidy/compile_commands.json |
                         grep -v '/tests/\|/bench/' | sort -ru)
    [ "$left_out" = '^$' ] || mapfile -t files < <(printf '%s\n' "${files[@]}" | grep -v '/tools/')
    # A source that is looked at neither alone nor as part of its folder would go unchecked.
    while IFS= read -r source; do
        case $source in platform/windows/*) continue ;; esac # for other builds
        grep -qsF "/$source\"" "${files[@]}" <(printf '%s"\n' "${files[@]}") ||
            { echo "$source is in no compile command of build/tidy"; exit 1; }
    done < <(git ls-files 'mek/*.cpp' 'platform/*.cpp' 'models/*.cpp' 'params/*.cpp' 'engine/*.cpp' 'session/*.cpp' 'capi/*.cpp' \
                          'module/*.cpp' 'recordings/*.cpp' 'series/*.cpp' 'simulation/*.cpp' 'accuracy/*.cpp' 'tools/*.cpp' | grep -v "$left_out")
fi
# A finding in a header comes once for each source that includes it.
if ! printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p build/tidy >"$log" 2>/dev/null; then
    awk '!seen[$0]++' "$log"
    exit 1
fi
echo "${#files[@]} translation units, no findings"
