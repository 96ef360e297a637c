# status: 1
# Which line fits a value, and why a line is none; a value that no line fits has the library's meaning, if any.
cat >names <<'END'
# pattern     meaning
64500:1nnn    a thousand
64500:1*      many
64500:100:*   "to", AS
"rt 64500:n"  one digit	and a tab
rt:*:7        of any AS, in two octets or four
rt:192.0.2.*:nn   of an address
1.n:*:5       asdot
color:*       without bits
"color nn:9"  with bits
lbw:64500:*   by number
encap:*       a tunnel
0x43*1        by its octets
0xfbf4nnnn    too late
no-export     Ausfuhrverbot ä
rt:[2001:db8::1]:*  of IPv6
64500:1x      a letter
64500:1
"64500:1 x
66000:n       too large
0x12n         too short
*             what?
n-export      no number
END
velbgp decode --names names --json 64500:1234 64500:12 64500:1 64500:2 64500:100:7 rt:64500:8 rt:64500:88 rt:70000:7 \
  rt:3:7 rt:192.0.2.9:10 rt:192.0.2.9:1 65541:9:5 color:100 'color 01:9' lbw:64500:1e6 encap:gre 0x4300000000000001 \
  no-export 'rt:[2001:db8::1]:77' blackhole |
  sed 's/"kind.*"value":"\([^"]*\)".*"meaning"/\1 "meaning"/; s/.*"value":\("[^"]*"\).*/\1/'
sed -n 1,4p names >good
velbgp list --names good 64500:1234 blackhole | tail -n 2
velbgp decode --names absent --json 64500:5
