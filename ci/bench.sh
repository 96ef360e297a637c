#!/usr/bin/env bash
# Each benchmark once, for life, not for numbers.
. "$(dirname "$0")/../scripts/common.sh"
setup build ci
build bench
for program in build/release/bench/*/bench_*; do
  [ -f "$program" ] || continue
  echo "$program"
  case $program in
    *agent) zcat -f "${VELBGP_TEST_DATA:-../shared/data/mrt}/updates.20190101.0000.gz" 2>/dev/null | "$program" --quick ;;
    *report | *floods | *memory) "$program" --quick ;;
    *) "$program" --benchmark_min_time=0.001 --benchmark_repetitions=2 --benchmark_color=false ;;
  esac
done
