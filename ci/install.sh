#!/usr/bin/env bash
# A stranger's projects (CMake and pkg-config) against the installed package.
. "$(dirname "$0")/../scripts/common.sh"
setup build
build release
tests release -L install
