# Extended, large, standard: does it match? The empty expression does; one with a blank finds neighbours, and the text of
# validation states. Standard values are taken as numbers, then by name, never mixed; large ones without dots; IPv6 ones
# do not match at all.
match() {
  echo "$1 -" $(velbgp list --json --match "$1" 0x0002fde800000064 0x0003fde800000064 0x4300000000000002 1.0:1:2 1:2:3 \
    no-export 1:100 0x000220010db80000000000000000000000010064 | grep -o '"match":[a-z]*' | cut -d : -f 2)
}
match ''
match '65000:100 65000:100'
match '^RT:65000:100 SoO'
match 'State:invalid$'
match 'State:valid'
match '^1:100 65535:65281$'
match '^1:100 no-export$'
match '65535:65281 no-export'
match '^1:2:3 65536:1:2$'
match '1\.0:1:2'
match '1:2|no-export'
match '2001:db8'
velbgp list --json --match= 0x0700000000000001 | grep -o '"match.*'
