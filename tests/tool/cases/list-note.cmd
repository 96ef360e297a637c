# Two link bandwidths, then two validation states, then both: the length announced counts one of each.
printf '%s\n' '0x4004fde84cee6b28 0x4004fde84d6e6b28 0x0002fde800000064' '' '0x4300000000000000 0x4300000000000001' \
  '0x4004fde84cee6b28 0x4004fde84d6e6b28 0x4300000000000000 0x4300000000000001' |
  velbgp list --json | grep -o '"serialize.*'
