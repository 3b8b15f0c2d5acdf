#!/usr/bin/env bash
# Nothing of the library's own runs when it is loaded or unloaded: no object needs code for that.
#   load_code.sh NM LIBRARY
# The run-time libraries that are linked into a DLL have such objects (std::, __gnu_cxx::).
set -euo pipefail
symbols=$("$1" "$2")
grep -q 'updateKORData' <<<"$symbols" || { echo "$2 has lost its symbols"; exit 1; }
if grep -E '_GLOBAL__(sub_)?[ID]_' <<<"$symbols" | grep -vE '_GLOBAL__sub_[ID]_(_ZNK?St|_ZSt|_ZNK?9__gnu_cxx)'; then
    exit 1
fi
