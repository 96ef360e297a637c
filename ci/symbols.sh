#!/usr/bin/env bash
# What the library of the preset `package` exports against the checked-in list cmake/package/symbols; `symbols.sh --write`
# renews that. Weak symbols, which inline functions and templates leave, are not in it: they depend on the compiler.
. "$(dirname "$0")/../scripts/common.sh"
setup build
build package VelBgp
list=cmake/package/symbols
exported() { nm -D --defined-only build/package/libVelBgp.so | awk '$2 !~ /[WVu]/ { print $3 }' | c++filt | LC_ALL=C sort -u; }
if [ "${1:-}" = --write ]; then
  exported >$list
elif ! diff -U0 $list <(exported); then
  echo "symbols: what leaves (-) and what comes (+) belongs into CHANGELOG.md; then: ci/symbols.sh --write" >&2
  exit 1
fi
