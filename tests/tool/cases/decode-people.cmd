velbgp decode 0x4004fde84b9502f9 1.0:1:2 0x000220010db80000000000000000000000010064
echo
# Kind by kind, what it says first and what its octets are; texts as they are printed are read back.
velbgp decode --json rt:65000:100 rt:192.0.2.1:5 soo:70000:7 soo:192.0.2.1:5 sas:65000:1 vri:192.0.2.1:7 lbw:0:1.5 \
  lbw:65000:0 0x400400017fc00000 color:100000 color:01:7 encap:vxlan encap:99 default-gateway ovs:valid ovs:not-found \
  0x4300000000000009 0x0005fde800000064 0x01050a0000010007 0x0306000000000000 0x99aa0102030405ff 65000:100 no-export \
  GSHUT 65535:666 65535:7777 |
  sed 's/.*"value":"\([^"]*\).*/\1/' | velbgp decode | grep -A 4 '^[A-Z]' | grep -v '^  kind\|^--\|octet . '
