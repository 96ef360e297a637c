#!/usr/bin/env bash
# recorded.sh AGENT DATA: the example agent on recorded UPDATEs, with and without a store: it reads all of them and
# releases everything. Skipped (77) where the recorded files are absent.
set -euo pipefail
agent=$1 data=${VELBGP_TEST_DATA:-$2}
[ -e "$data/updates.20190101.0000.gz" ] || { echo "no recorded files in $data"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
check() {
  local file=$1 updates=$2
  zcat -f "$data/$file" >"$work/updates"
  "$agent" <"$work/updates" >"$work/out"
  "$agent" "$work/$file.store" <"$work/updates" | diff "$work/out" -
  grep -q "^$updates updates" "$work/out" && grep -qx 'all released' "$work/out" || { cat "$work/out"; exit 1; }
}
check updates.20190101.0000.gz 54107
check derived-wire-messages.mrt 58
