#!/usr/bin/env bash
# g++, optimised, warnings as errors, all tests. The stranger's project runs in ci/install.sh.
. "$(dirname "$0")/../scripts/common.sh"
setup build
build release
tests release -LE install
