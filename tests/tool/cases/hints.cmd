# An expression that finds nothing but looks like a text from elsewhere: the note's own expression finds what was meant.
try() {
  velbgp list --json --match "$@" 2>note >/dev/null
  sed 's/^velbgp: note: --match //' note
  shift
  again=$(sed "s/.*texts, and '\(.*\)' .*/\1/" note)
  [ -z "$again" ] || velbgp list --json --match "$again" "$@" | grep -o '"match":true'
}
try Route-Target-AS4:70000:7 rt:70000:7 1:2
try 'Route-Target-IP:192' rt:192.0.2.1:7
try 'rt 65000:7' rt:65000:7 rt:65000:77
try 0xfde80064 65000:100
try 4259840100 65000:100
try 1.0:1:2 65536:1:2
try _65000:100_ 1:1 65000:100
try '^65000:100$' 1:1 65000:100
try '_65000:1.*_' 1:1 65000:100
try no_export no-export
try blackhole 65535:666
try 65000:200 65000:100
try no-export 65000:100
try '(_' 1:1
try 2001:db8::1 0x000220010db80000000000000000000000010064
velbgp sample --paths 9 | velbgp mrt --json --match '^64533:0$' - 2>&1 >/dev/null
