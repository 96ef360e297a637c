#!/usr/bin/env bash
# The API reference, without a warning.
. "$(dirname "$0")/../scripts/common.sh"
scripts/reference
