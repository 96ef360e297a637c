#!/usr/bin/env bash
# Every source as .clang-format lays it out; names those that are not. Mend them with clang-format -i.
. "$(dirname "$0")/../scripts/common.sh"
setup ci
bad=0
while IFS= read -r -d '' file; do
  case $file in *.def) continue ;; esac  # tables: laid out by hand
  clang-format --dry-run -Werror "$file" >/dev/null 2>&1 || { echo "not as clang-format lays it out: $file"; bad=1; }
done < <(sources platform BgpCommon VelBgp show tools tests bench examples fuzz)
exit $bad
