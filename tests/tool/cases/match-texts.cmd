# The whole text of an extended list, in each way: communities without a text still have their place.
match() {
  expression=$1
  shift
  echo "$expression -" $(velbgp list --json --match "$expression" "$@" 2>/dev/null | sed 's/.*"match":\([a-z]*\).*/\1/')
}
match '^$' 0x0301000000000000
match '^65000:100 65000:1\.25e\+08$' 0x4004fde84cee6b28 0x0002fde800000064
match '^RT:65000:100 lbw 65000:1\.25e\+08$' 0x4004fde84cee6b28 0x0002fde800000064
match '^RT:196618:5 Color:CO\(00\):100$' 0x02020003000a0005 0x030b000000000064
match '^65000:100 $' 0x0002fde800000064 0x0700000000000001
match '^ Color:CO\(00\):100$' 0x0301000000000000 0x030b000000000064
match '^65000:100  Color:CO\(00\):100$' 0x0002fde800000064 0x0306000000000000 0x030b000000000064
match '^Origin-Validation-State:valid Origin-Validation-State:invalid$' 0x4300000000000002 0x4300000000000000 \
  0x0002fde800000064 0x0301000000000000
match 'Route-Target-AS|State:not|RT.*Origin' 0x4300000000000002 0x4300000000000000 0x0002fde800000064
