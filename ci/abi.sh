#!/usr/bin/env bash
# The library of the preset `package` against that of the newest tag: a change of the ABI must be named in CHANGELOG.md
# (the letters ABI, above that release). Without a tag there is nothing to compare with.
. "$(dirname "$0")/../scripts/common.sh"
setup build package
last=$(git tag --list 'v*' --sort=-v:refname | head -n 1)
if [ -z "$last" ]; then
  echo "abi: no release to compare with"
  exit 0
fi
build package VelBgp
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
git archive "$last" | tar -x -C "$work"
cmake --preset package -S "$work" >"$work/log" || { cat "$work/log"; exit 1; }
cmake --build "$work/build/package" -j "$jobs" --target VelBgp >"$work/log" || { cat "$work/log"; exit 1; }

headers=()
for folder in VelBgp platform BgpCommon show; do headers+=(--hd1 "$work/$folder" --hd2 "$folder"); done
status=0
abidiff --no-show-locs "${headers[@]}" "$work/build/package/libVelBgp.so" build/package/libVelBgp.so \
  >build/abi.log || status=$?
if [ $((status & 3)) -ne 0 ]; then
  cat build/abi.log
  exit 1  # abidiff itself failed
fi
if [ "$status" -ne 0 ] && ! sed -n "/^## ${last#v} /q; /^## /,\$p" CHANGELOG.md | grep -qw ABI; then
  head -n 60 build/abi.log
  echo "abi: differs from $last, and CHANGELOG.md does not say so" >&2
  exit 1
fi
echo "abi: $([ "$status" -eq 0 ] && echo "that of $last" || echo "differs from $last, as CHANGELOG.md says")"
