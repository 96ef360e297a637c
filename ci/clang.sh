#!/usr/bin/env bash
# Clang, warnings as errors; each header compiles alone; all tests.
. "$(dirname "$0")/../scripts/common.sh"
setup build ci
build clang all all_verify_interface_header_sets
tests clang -LE install
