#!/usr/bin/env bash
# The shell scripts themselves.
. "$(dirname "$0")/../scripts/common.sh"
setup ci
shellcheck -x -P SCRIPTDIR .ci/run ci/*.sh scripts/{common.sh,demo,package,reference,release,setup,test} tests/install/run.sh
fish --no-execute tools/velbgp/completions/velbgp.fish
