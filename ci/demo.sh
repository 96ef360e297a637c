#!/usr/bin/env bash
# The demo, as a person without a terminal would see it.
. "$(dirname "$0")/../scripts/common.sh"
scripts/demo
