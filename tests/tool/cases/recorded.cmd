# recorded data
# Counts of recorded files, taken by parsers that share nothing with ours. Of each kind: paths, communities, distinct
# lists, distinct communities. Communities with a classification: all of both extended kinds.
for file in updates.20190101.0000.gz updates.et-header.2015.gz freertr-bgp4.mrt ipv6-rib.bz2 \
  rib.20140523.0600_firstMB.bz2 bird-mrtdump_rib.mrt openbgpd_rib_table-v2.mrt openbgpd_rib_table.mrt \
  updates.20001104.0124.gz derived-wire-messages.mrt; do
  echo "$file"
  velbgp mrt --json "$VELBGP_TEST_DATA/$file" 2>err | python3 -c '
import json, sys
counts = json.load(sys.stdin)
counts["classified"] = sum(counts.pop("classifications").values())
for name, count in counts.items():
    print(" ", name, *(count.values() if isinstance(count, dict) else [count]))'
  # Each fault is told, and no other.
  wc -l <err
done
