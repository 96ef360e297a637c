# Sourced by the scripts here and in ci/: strict mode, the repository's root as working folder, ccache where it works.
# shellcheck shell=bash
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
jobs=$(nproc)

setup() { scripts/setup "$@"; }

# CMake takes this on a folder's first configuration. Asked for again after setup, which may have brought ccache.
use_ccache() {
  if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && ccache --show-stats >/dev/null 2>&1; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
  fi
}

# build PRESET [TARGET ...]
build() {
  local preset=$1
  shift
  use_ccache
  local log
  log=$(log_of "configure-$preset")
  cmake --preset "$preset" >"$log" 2>&1 || { cat "$log"; return 1; }
  if [ $# -gt 0 ]; then
    cmake --build --preset "$preset" -j "$jobs" --target "$@"
  else
    cmake --build --preset "$preset" -j "$jobs"
  fi
}

log_of() { mkdir -p build && echo "build/$1.log"; }

# The C++ sources under the given folders, each name ended by a zero octet.
sources() { find "$@" -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.def' \) -print0; }

# tests PRESET [ctest's arguments ...]
tests() {
  local preset=$1
  shift
  ctest --preset "$preset" -j "$jobs" "$@"
}
