#!/usr/bin/env bash
# fuzz.sh [SECONDS [NAME ...]]: each fuzzer of fuzz/, or just these, for so long (30 s), as many at a time as there are
# processors. Fails if any found something; its input is then in build/fuzz/findings.
. "$(dirname "$0")/../scripts/common.sh"
seconds=${1:-30}
names=("${@:2}")
[ ${#names[@]} -gt 0 ] || mapfile -t names < <(cd fuzz/corpus && printf '%s\n' *)
setup build ci
build fuzz "${names[@]/#/fuzz_}"

# Stores and toggle files go into memory; what a fuzzer that died left there goes with the folder.
memory=/dev/shm
[ -w "$memory" ] || memory=${TMPDIR:-/tmp}
TMPDIR=$(mktemp -d "$memory/fuzz.XXXXXX")
trap 'rm -rf "$TMPDIR"' EXIT
export TMPDIR

# What is new is kept beside the seeds, for the next run.
run() {
  local name=$1 log=build/fuzz/$1.log
  mkdir -p "build/fuzz/corpus/$name" build/fuzz/findings
  if "build/fuzz/fuzz/fuzz_$name" -max_total_time="$2" -max_len=1024 -len_control=20 -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="build/fuzz/findings/$name-" "build/fuzz/corpus/$name" "fuzz/corpus/$name" >"$log" 2>&1; then
    echo "$name: $(tail -n 1 "$log")"
  else
    tail -n 60 "$log"
    echo "$name: FOUND SOMETHING, see $log"
    return 1
  fi
}
export -f run
export UBSAN_OPTIONS=print_stacktrace=1
printf '%s\n' "${names[@]}" | xargs -P "$jobs" -I{} bash -c 'run {} '"$seconds"
