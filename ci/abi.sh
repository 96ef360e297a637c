#!/usr/bin/env bash
# The library of the preset `package` against that of the newest tag. Where the ABI differs, if only by what was added,
# CHANGELOG.md must name it: the letters ABI, above that release. Where it differs by more than that, programs that were
# built with the last release would break, so a version that is another than the tag's must be another soname as well:
# another minor version. Without a tag there is nothing to compare with.
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
cmake --preset package -S "$work" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
cmake --build "$work/build/package" -j "$jobs" --target VelBgp >"$work/log" || { cat "$work/log"; exit 1; }

headers=()
for folder in VelBgp platform BgpCommon show; do headers+=(--hd1 "$work/$folder" --hd2 "$folder"); done
libraries=("$work/build/package/libVelBgp.so" build/package/libVelBgp.so)
# compared LOG [OPTION ...]: whether they are the same; a failure of abidiff itself (bits 0 and 1) ends all.
compared() {
  local status=0
  abidiff --ignore-soname --no-show-locs "${@:2}" "${headers[@]}" "${libraries[@]}" >"$1" || status=$?
  if [ $((status & 3)) -ne 0 ]; then
    cat "$1"
    exit 1
  fi
  [ "$status" -eq 0 ]
}
soname() { readelf -d "$1" | sed -n 's/.*soname: \[\(.*\)\]/\1/p'; }
version() { sed -n 's/^#define VELBGP_VERSION "\(.*\)"/\1/p' "$1/VelBgp/Version.h"; }
refuse() { head -n 60 build/abi.log; echo "abi: $*" >&2; exit 1; }

if compared build/abi.log; then
  echo "abi: that of $last"
  exit 0
fi
sed -n "/^## ${last#v} /q; /^## /,\$p" CHANGELOG.md | grep -qw ABI ||
  refuse "differs from $last, and CHANGELOG.md does not say so (ABI)"
if compared build/abi.less --no-added-syms; then
  echo "abi: adds to that of $last, as CHANGELOG.md says"
elif [ "$(version .)" != "$(version "$work")" ] && [ "$(soname "${libraries[0]}")" = "$(soname "${libraries[1]}")" ]; then
  refuse "breaks that of $last: $(version .) is not enough, the minor version must change"
else
  echo "abi: breaks that of $last, as CHANGELOG.md says"
fi
