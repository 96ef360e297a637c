# Prints an MRT record for each line "TYPE SUBTYPE BODY  # what it is". A body is hex digits, with 00x14 for 14 octets
# of zeros, <2 ...> for what stands behind its length of 2 octets, <m ...> for a BGP message behind its marker and
# length, and these letters for what comes again and again:
my %parts = (
    X => 'c010 08 0002fde800000064',                 # an attribute of one extended community
    Y => 'c010 01 00',                               # one of a wrong length, which errors name with its path
    D => '000000000000 000b X',                      # entries of a RIB: with X, with Y, and with nothing
    E => '000000000000 0004 Y',
    N => '000000000000 0000',
    I => '000000000000 00000007 0004 Y',             # the same with a path identifier
    P => '000000000000 00000007 0000',
    S => '00x6 0001 00x8',                           # peers with AS numbers of two octets, of four, and with IPv6
    L => '00x10 0001 00x8',
    Z => '00x10 0002 00x32',
    U => 'ffx16 0026 02 0000 000b X 180a0000',       # UPDATE messages with X, with Y, and with nothing
    V => 'ffx16 001f 02 0000 0004 Y 180a0000',
    W => 'ffx16 001b 02 0000 0000 180a0000',
);
while (<STDIN>) {
    s/#.*//;
    my ($type, $subtype, $body) = /(\d+)\s+(\d+)(.*)/ or next;
    1 while $body =~ s/([A-Z])/$parts{$1}/g;
    $body =~ s/([0-9a-f]{2})x(\d+)/$1 x $2/ge;
    $body =~ s/\s//g;
    1 while $body =~ s/<m([0-9a-f]*)>/'ff' x 16 . sprintf('%04x', 18 + length($1) \/ 2) . $1/e
        or $body =~ s/<(\d)([0-9a-f]*)>/sprintf('%0*x', 2 * $1, length($2) \/ 2) . $2/e;
    print pack 'NnnN/a*', 1, $type, $subtype, pack 'H*', $body;
}
