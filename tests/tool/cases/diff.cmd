# What changed between two RIBs, and between what updates come to.
records() { perl "${0%/*}/records.pl"; }
peers='13 1 00000000 <2> 0002 02 00000001 c0000201 0000fbf4 03 00000002 20010db8 00x11 01 fa56ea00'
path='4001<1 00> 4002<1 0201 00000001> 4003<1 c0000209>'
records >old <<END
$peers
13 2 00000001 08 0a 0002 0000 00000064 <2 $path c008<1 fde80064>> 0001 00000065 <2 $path>            # the same, but for the time
13 2 00000002 08 0b 0002 0000 00000064 <2 $path c008<1 fde80064 fde80065 fde80065>> 0001 00000001 <2 $path>
13 2 00000003 08 0c 0001 0000 00000064 <2 $path c008<1 fde80064> c010<1 0002fde800000064>>
13 2 00000004 08 0d 0001 0000 00000064 <2 $path>
13 6 00000005 0001 80 70 00x14 0001 0000 00000064 <2 $path>
13 8 00000006 08 0e 0002 0000 00000064 00000001 <2> 0000 00000064 00000002 <2>
13 2 00000007 08 0f 0001 0000 00000064 <2 $path>
13 2 00000007 08 0f 0001 0000 00000064 <2>
END
records >new <<END
$peers
13 8 00000001 08 0e 0002 0000 00000064 00000003 <2> 0000 00000064 00000001 <2>                        # another identifier
13 2 00000001 08 0a 0002 0000 00000074 <2 $path c008<1 fde80064>> 0001 00000075 <2 $path>
13 2 00000002 08 0b 0001 0000 00000064 <2 $path c008<1 fde80065 fde80064>>                            # one set; one is gone
13 2 00000003 08 0c 0001 0000 00000064 <2 $path c008<1 fde80066 fde80066> c020<1 0000fde8 00000001 00000002>>
13 2 00000004 08 0d 0001 0000 00000074 <2 $path c008<1 fde80066> 4001<1 01>>                          # of a repeated one the first
13 2 00000004 08 0d 0001 0000 00000074 <2 4001<1 01> 4002<1 0201 00000002> 4003<1 c000020a> c008<1 fde80066>>
13 2 00000007 08 0f 0001 0000 00000064 <2>
END
velbgp diff --json old new
velbgp diff --csv old new
velbgp diff old new
velbgp diff --csv --community 65000:102 --not --prefix 13.0.0.0/8 old new
velbgp diff --csv --community 65000:101 new old
velbgp diff new new
records >before <<END
16 4 L <m 02 0000 <2 $path> 080a 080b 080c>
16 4 0000fde8 0000fde9 0000 0001 c0000201 c0000202 <m 02 0000 <2 $path> 080a>
END
records >after <<END
16 4 L <m 02 0000 <2 $path> 080b 080a 080d>
16 4 0000fde8 0000fde9 0000 0001 c0000201 c0000202 <m 02 0000 <2 $path> 080a 080b>
16 4 0000fde8 0000fde9 0000 0001 c0000201 c0000202 <m 02 <2 080b> 0000>
16 4 L <m 02 <2 080b 080c> 0000>
16 7 0000fde8 0000fde9 0000 0001 c0000201 c0000202 <m 02 0000 <2 $path> 080c>
16 5 0000fdea 0000fde9 0000 0001 c0000201 c0000202 0006 0001                                          # another AS
16 5 0000fde8 0000fde9 0000 0001 c0000201 c0000202 0005 0006
END
printf '16 5 0000fde8 0000fde9 0000 0001 c0000201 c0000202 0006 0001\n16 4 L <m 02 0000 <2> 18>\n' | records >down
velbgp diff --json before after
cat after down | velbgp diff --json after - 2>&1 && echo not all of it was read
velbgp diff nothing after || velbgp diff before . || echo no output
