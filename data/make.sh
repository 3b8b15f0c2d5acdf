#!/usr/bin/env bash
# Makes the recordings and truths of this folder again, byte for byte, from the parameter files and way-points in it.
#   data/make.sh [KOR] [OUT]
# KOR is the program (default: kor in the PATH), OUT the folder that takes them (default: this one).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
kor=${1:-kor}
out=${2:-$here}
rows=1200

# NAME ID MOTION SEED [OPTION...]: 100 samples a second from a clock that wraps half-way. For a second gate and hold
# keep the reference back. Some samples have a status other than 2.
make() {
    mkdir -p "$out/$1"
    "$kor" simulate --prm "$here/$1" --id "$2" --motion "$3" --seed "$4" --samples "$rows" \
        --start-stamp $(((1 << 32) - 5 * rows + 3)) --reference 110 --bad-status 0.012 "${@:5}"
}
csv() { # the same as CSV with its truth
    make "$@" -o "$out/$1/$1.csv" --truth "$out/$1/$1_truth.csv"
}
level_out=(--level-out 0.003)

csv dual_level 1001 "$here/dual_level/way_points.csv" 22 "${level_out[@]}"
csv dual_level_even 1002 "$here/dual_level_even/way_points.csv" 30 "${level_out[@]}"
csv pendulum 1003 "$here/pendulum/way_points.csv" 31 "${level_out[@]}"
csv pendulum_even 1004 random 32 "${level_out[@]}"
csv polarizer_even 1006 roll 35 "${level_out[@]}"
csv three_vector 1007 random 22 "${level_out[@]}"
csv three_vector_even 1008 "$here/three_vector_even/way_points.csv" 46 "${level_out[@]}"
# With these seeds level Y is out of its table in one pose, for as long as that is held.
csv two_level 1009 static 216
csv two_level_even 1010 static 138

# Twice as long, and as binary records as well.
rows=2400
csv polarizer 1005 "$here/polarizer/way_points.csv" 33 "${level_out[@]}"
make polarizer 1005 "$here/polarizer/way_points.csv" 33 "${level_out[@]}" -o "$out/polarizer/polarizer.korraw"
