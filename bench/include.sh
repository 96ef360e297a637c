#!/usr/bin/env bash
# include.sh [TREE ...]: what including the library costs, beside <string> and <vector>: seconds of the compiler's own
# time, the least of 11 rounds in which all of them take turns. For this tree, or for each of these, to compare.
set -euo pipefail
[ $# -gt 0 ] || set -- "$(cd "$(dirname "$0")/.." && pwd)"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
printf '#include <string>\n#include <vector>\n' >"$work/base.cpp"
echo '#include "VelBgp/Forward.h"' >"$work/forward.cpp"
for tree; do
  # Everything: all public headers of VelBgp, for trees without VelBgp.h too.
  for header in $(cd "$tree" && git ls-files 'VelBgp/*.h' | grep -v Impl); do echo "#include \"$header\""; done
done | sort -u >"$work/all"
TIMEFORMAT=%U
measure() {
  local name=$1 tree=$2 source=$3
  { time "${CXX:-g++}" -std=c++20 -O2 -I"$tree" -I"$tree/platform" -c "$source" -o /dev/null; } 2>>"$work/times.$name"
}
for _ in 1 2 3 4 5 6 7 8 9 10 11; do
  measure base . "$work/base.cpp"
  number=0
  for tree; do
    number=$((number + 1))
    echo '#include "VelBgp/VelBgp.h"' >"$work/agent.cpp"
    while read -r line; do
      [ ! -e "$tree/$(cut -d'"' -f2 <<<"$line")" ] || echo "$line"
    done <"$work/all" >"$work/everything.cpp"
    [ ! -e "$tree/VelBgp/VelBgp.h" ] || measure "VelBgp.h.$number" "$tree" "$work/agent.cpp"
    [ ! -e "$tree/VelBgp/Forward.h" ] || measure "Forward.h.$number" "$tree" "$work/forward.cpp"
    measure "everything.$number" "$tree" "$work/everything.cpp"
  done
done
base=$(sort -n "$work/times.base" | head -n 1)
for times in "$work"/times.*; do
  least=$(sort -n "$times" | head -n 1)
  awk -v name="${times##*/times.}" -v least="$least" -v base="$base" \
    'BEGIN { printf "%-14s %.2f s  %.1f of <string> and <vector>\n", name, least, least / base }'
done
