# The first part is what bgpdump printed; the second what it cannot: where it aborts, cuts, leaves out or misreads.
perl "${0%/*}/records.pl" >same
velbgp routes --bgpdump same 2>err
wc -l <err
echo
perl "${0%/*}/records.pl" >other <<'END'
13 1 00000000 <2> 0001 02 00000001 c0000201 0000fbf4
13 2 00000001 08 0a 0002 0009 00000064 <2> 0000 00000064 <2 800e<1 0001 01 <1 00x8 c0000205> 01 08 0a> 4001<1 00> 4001<1 01>>
48 0
12 1 0001 0002 0aff0000 0c 01 00000001 c0000201 fde8 <2> 0a000000 08 01 00000002 c0000202 fdea <2>
16 4 L <m 02 0000 <2 800e<1 0001 01 <1 c0000205> 00 08 0a> 8004<1 ffffffff> 4005<1 fffffffe> c007<1 0000fde8 ffffffff>>>
16 4 L <m 02 0000 <2 800e<1 0002 01 <1 00x8 20010db8 00x12> 02 20 20010db8>>>
16 11 0000fde8 0000fde9 0000 0001 c0000201 c0000202 <m 02 <2 00000001 080a> <2 800e<1 0002 01 <1 20010db8 00x12> 00 00000007 20 20010db8>>>
16 1 S <m 02 0000 <2 4002<1 0202 5ba0 0001> c011<1 0301 0000fde8 0201 000186a0>> 0801>
17 4 002dc6c1 L <m 02 <2 080a> 0000>
END
velbgp routes --bgpdump other
velbgp routes --bgpdump --withdrawn same other 2>err | cut -d '|' -f 3 | sort | uniq -c
perl -e 'print "\0\0\0\1\0\x10\0\4", pack("N", 12049), "\0" x 11, "\1", "\0" x 8, "\xff" x 16, pack("n", 12029), "\2\0\0",
  pack("n", 12004), "\xd0\x08", pack("n", 12000), pack("N", 0xffffffff) x 3000, "\1\0"' | velbgp routes --bgpdump - | wc -c
