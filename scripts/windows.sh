#!/usr/bin/env bash
# Builds the Windows build with all its tests and runs them under Wine: ten minutes and more. check.sh runs those of the
# DLL, the program and the archive alone. Needs the packages that check.sh installs.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset dev
cmake --build --preset dev
cmake --preset mingw -DKORINTERFACE_TESTS_SMOKE=OFF
cmake --build --preset mingw
ctest --preset mingw -j "$(nproc)"
