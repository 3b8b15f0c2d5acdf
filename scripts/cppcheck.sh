#!/usr/bin/env bash
# Looks for mistakes in the product's sources with cppcheck; a finding is an error. scripts/cppcheck.txt has the reasons for
# what is not reported.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t sources < <(git ls-files '*.cpp' | grep -v -E '^(tests|fuzz|examples|cmake)/')
[ ${#sources[@]} -gt 0 ] || { echo "cppcheck.sh: found no sources" >&2; exit 1; }
cppcheck --quiet --std=c++20 --language=c++ --enable=warning,performance,portability --inline-suppr \
    --suppressions-list=scripts/cppcheck.txt --error-exitcode=1 -j "$(nproc)" -I include -I . -DKORINTERFACE_API= \
    --template='{file}:{line}: {message} [{id}]' "${sources[@]}"
