# Two link bandwidths, then two validation states: the length announced counts one of each.
printf '0x4004fde84cee6b28 0x4004fde84d6e6b28 0x0002fde800000064\n\n0x4300000000000000 0x4300000000000001\n' |
  velbgp list --json | grep -o '"serialize.*'
