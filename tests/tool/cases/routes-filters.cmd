# Which routes each filter lets through, together and turned round; then texts that are none.
perl "${0%/*}/records.pl" >records
f() {
  printf '%s:' "$*"
  velbgp routes --json "$@" records 2>err | perl -pe 's/.*"prefix":"([^"]*)".*\n/ $1/; s/.*"nlri":"([^"]*)".*\n/ $1/'
  echo
}
f --prefix 10.0.0.0/8
f --prefix 10.1.2.3/8
f --prefix 10.0.0.0
f --longer 10.0.0.0/22
f --longer 10.0.2.128/25 --longer 2001:db8::/33
f --covers 10.0.2.200
f --covers 2001:db8:5::1
f --longer 0.0.0.0/0
f --longer ::/0
f --not --longer 10.0.0.0/8
f --peer 192.0.2.1
f --peer 2001:0DB8::1 --peer 192.0.2.2
f --not --peer 192.0.2.1 --not --peer 2001:db8::1
f --peer-as 64500
f --peer-as 1.0
f --origin-as 2
f --origin-as 3 --origin-as 1.0
f --origin-as 8
f --as 1
f --as 8
f --as-path '^1 [^2]'
f --as-path ''
f --not --as-path ''
f --community 65000:100
f --community 0xfde80064 --community 65000:1:2
f --community 'RT 65000:100'
f --community route-target:65000L:100
f --community 0xfde80065
f --rt 65000:100
f --rt 65000L:100
f --rt 65000:65536
f --rt 2001:db8:::7
f --rt Route-Target-AS:65000:100
f --match '^65000:1'
f --match '^RT:65000:100$' --not --peer 2001:db8::1
f --match 65000:1:2 --as 1
f --family 'IPv4 VPN'
f --family 2/1
f --announced
f --withdrawn
f --withdrawn --announced --not --family 'ipv4 vpn'
f --since 400
f --since 1970-01-01T00:00:01.5Z --until 100
f --since 1.4999999 --until 1.5000001
f --since 1.5000001 --until 100
f --until 1969-12-31t23:59:59-00:01 --since 1970-01-01T00:00:58Z
f --since 1970-01-01T01:01:40+01:00 --until 1970-01-01T00:01:40.0000000Z
f --limit 2
f --limit 1 --withdrawn
velbgp routes --count --longer 10.0.0.0/8 records records 2>err
velbgp routes --count --json --withdrawn records 2>err
velbgp routes --count --csv --limit 3 records 2>err
velbgp routes --count nothing
velbgp routes --count --limit 2 records nothing && echo nothing else is read
for bad in '--prefix 10.0.0.0/33' '--longer 10.0.0/8' '--covers ::/129' '--peer 10.0.0.0/8' '--peer-as 4294967296' '--as 1.65536' \
  '--origin-as -1' '--as-path (' '--match a{2' '--community 192.0.2.1:5' '--rt no-export' '--family ipv4' '--family 1/256' \
  '--since yesterday' '--until 2019-02-29T00:00:00Z' '--until 2019-01-01T00:00:00' '--since 1.' '--limit 0' '--not' \
  '--not --not --as 1' '--not --json' '--json --csv' '--bgpdump --json'; do
  velbgp routes $bad records
  test $? = 2 || echo "$bad is taken"
done 2>&1
