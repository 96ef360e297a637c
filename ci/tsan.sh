#!/usr/bin/env bash
# The tests with threads in them, under the thread sanitizer.
. "$(dirname "$0")/../scripts/common.sh"
setup build
build tsan test_Keel test_KeelRaces test_Store test_VelBgp test_publish
tests tsan -R '^(Keel|KeelRaces|Store|VelBgp|publish)\.'
