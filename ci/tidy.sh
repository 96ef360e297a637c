#!/usr/bin/env bash
# clang-tidy over the library's sources; .clang-tidy says which checks and why. Arguments: just these files.
. "$(dirname "$0")/../scripts/common.sh"
setup build ci
use_ccache
cmake --preset clang >/dev/null
if [ $# -gt 0 ]; then printf '%s\0' "$@"; else sources platform BgpCommon VelBgp show | grep -z '\.cpp$'; fi |
  xargs -0 -r -n 1 -P "$jobs" clang-tidy -p build/clang --quiet --warnings-as-errors='*' \
    2> >(grep -v 'warnings generated' >&2)
