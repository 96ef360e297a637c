# The empty expression matches; one with a blank finds neighbours, and the text of validation states.
match() { velbgp list --json --match "$1" 0x0002fde800000064 0x0003fde800000064 0x4300000000000002 | grep -o '"match.*'; }
match ''
match '65000:100 65000:100'
match '^RT:65000:100 SoO'
match 'State:invalid$'
match 'State:valid'
velbgp list --json --match= 0x0700000000000001 | grep -o '"match.*'
