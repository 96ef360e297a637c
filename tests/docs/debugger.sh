#!/usr/bin/env bash
# debugger.sh ROOT BUILD CXX: tools/gdb/velbgp.py shows values of all kinds, also of lists too long for their object.
set -euo pipefail
root=$1 build=$2 cxx=$3
command -v gdb >/dev/null || exit 77
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat >"$work/program.cpp" <<'END'
#include "VelBgp/VelBgp.h"
using namespace Routing::Bgp;

void stop() {}

int main() {
  const CommunityTables tables;
  ExtCommListContentU64 extended(tables.extComms());
  PathLists path, other;
  extended.commIs(routeTarget(65000, 100));
  other.extended = tables.dedupContent(extended);
  extended.commIs(linkBandwidth(65000, 19531250));
  path.extended = tables.dedupContent(extended);
  ExtCommIp6ListContent ip6(tables.extCommIp6s());
  ip6.commIs(routeTarget(Routing::Addr::Ip6Addr("2001:db8::1"), 100));
  path.extendedIp6 = tables.dedupContent(ip6);
  LargeCommListContent large;
  large.commIs({64500, 1, 2});
  path.large = tables.dedupContent(large);
  CommListContent standard;
  for (std::uint32_t i = 0; i < 600; ++i) standard.commIs(i);
  other.standard = tables.dedupContent(standard);
  stop();
}
END
"$cxx" -std=c++20 -g -I"$root" -I"$root/platform" "$work/program.cpp" -o "$work/program" -L"$build" -lVelBgp -Wl,-rpath,"$build"
gdb -q -batch -nx -x "$root/tools/gdb/velbgp.py" -ex 'break stop' -ex run -ex up -ex 'print path' -ex 'print other' \
  -ex 'print *path.extended.px' "$work/program" >"$work/shown" 2>&1
grep -q 'personality\|ptrace' "$work/shown" && exit 77  # nothing may be traced here
for line in 'extended = ExtCommList of 0x0002fde800000064 0x4004fde84b9502f9, references: 1, ' \
  'extendedIp6 = ExtCommIp6List of 0x000220010db80000000000000000000000010064, references: 1, ' \
  'large = LargeCommList of 0x0000fbf40000000100000002, references: 1, standard = null}' \
  'extended = ExtCommList of 0x0002fde800000064, references: 1, extendedIp6 = null' \
  'standard = CommList of 0x00000000 0x00000001 .* 0x00000256 0x00000257, references: 1' \
  '= ExtCommList of 0x0002fde800000064 0x4004'; do
  grep -q "$line" "$work/shown" || { cat "$work/shown"; echo "debugger: not shown: $line"; exit 1; }
done
