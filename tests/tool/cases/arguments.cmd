# status: 1
velbgp decode --json '' '#' '[0x1,0x2]' '{}' -1:2 ' 0x0700000000000001 ' "$(printf '1:2\001')" | grep -o '"value":"[^"]*"'
velbgp list --json '0x0700000000000001 bad' 0x0700000000000002 '[' | grep -o '"values":[^]]*]'
velbgp decode --json x
