#!/usr/bin/env bash
# Who includes whom.
. "$(dirname "$0")/../scripts/common.sh"
setup build
python3 tests/layers/layers.py
