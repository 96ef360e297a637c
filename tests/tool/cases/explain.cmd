# Why a value is sent, kept and matched: expressions that find a part of one text, several, a seam, nothing, all.
explain() {
  velbgp list --json --explain --match "$@" 2>/dev/null |
    sed 's/.*"explain"://; s/"sent":{"all":true,//g; s/transitive/t/g; s/linkBandwidth/l/g; s/originAsValidity/v/g'
}
lists='rt:1:1 rt:1:12 0x4004000147c35000 0x4004000247c35001 0x400400037fc00000 ovs:valid'
explain '1:1' $lists
explain 'RT:1:12' $lists
explain 'RT:1:1 RT' $lists
explain 'State:v' $lists
explain '^' 1:1 no-export 65535:666
explain 'no-ex' 1:1 no-export 2:3:4 '0x000220010DB80000000000000000000000010064'
explain '3$' 2:3:4 1:3
echo bad | velbgp list --json --explain 2>/dev/null
velbgp list --explain --match 5 1:5 lbw:1:5 lbw:2:6 2>/dev/null | tail -n 3
