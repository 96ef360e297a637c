#!/usr/bin/env bash
# All tests under the address (with leaks) and undefined-behaviour sanitizers.
. "$(dirname "$0")/../scripts/common.sh"
setup build
build asan
tests asan
