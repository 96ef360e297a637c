# Wherever a stream ends, the whole records before are read and there is one error; packed members in a row read as
# one stream.
counts() { velbgp mrt --json "$@" | sed 's/"extended".*"matches/"matches/'; }
ends() { # What standard input is up to each of its octets from the $1th on.
  rm -f part*
  perl -e 'local $/; $_ = <STDIN>; for my $size ($ARGV[0] .. length) {
             open my $part, ">", sprintf "part%04d", $size; print $part substr $_, 0, $size }' "$1"
  counts part* 2>err
}
echo '16 4 L U' | perl "${0%/*}/records.pl" >good
echo '12 0 00x5' | perl "${0%/*}/records.pl" | cat good - good | ends 0
sed 's/part[0-9]*//' err | uniq -c

for type in 12 13 16; do
  perl -e 'print pack("NnnN", 1, $ARGV[0], 4, ~0), "\0" x 600_000' $type | counts - 2>&1
done

head -c 30 good >half
tail -c +31 good >rest
: >none
{ gzip <half; cat rest good | gzip; } | counts -
{ bzip2 <half; cat rest good | bzip2; } | counts -
# Of any programs, also with what holds nothing between, before and behind.
nothing() { printf '\120\052\115\030\4\0\0\0data'; }
{ gzip <half; gzip <none; bzip2 <rest; bzip2 <none; gzip <good; } | counts -
{ xz <half; printf '\0\0\0\0\0\0\0\0'; xz <none; zstd -q <rest; nothing; zstd -q <none; xz <good; } | counts -
{ nothing; zstd -q <good; zstd -q <half; printf '\0\0\0\0'; } | counts - 2>&1
# One minute of 2005 has a time stamp like the magic of a packed file.
{ printf BZh9; tail -c +5 good; cat good; } | counts -
{ printf '\120\052\115\030'; tail -c +5 good; cat good; } | counts -

perl -e 'srand 1; printf "12 0 %s\n", join "", map sprintf("%02x", rand 256), 1 .. 1000' |
  perl "${0%/*}/records.pl" | cat good - good >whole
for pack in gzip bzip2 xz 'zstd -q'; do
  $pack <whole >packed
  head -c -1 packed | ends 4 | sed 's/{"files":\([0-9]*\),.*"malformed":\1,.*/one error a file/'
  sed 's/.*@//' err | sort -nsc && echo more comes out of more
  sed 's/.*: //' err | sort -u
  { cat packed; echo trailing; } | counts - 2>&1
  perl -0777 -pe 'substr($_, length() / 2, 1) ^= "\x10"' packed | velbgp mrt --json - 2>&1 >out | sed 's/@[0-9]*/@N/'
done
# All that a check sum is behind has come out.
gzip <whole | head -c -3 | counts - 2>err
# The window that it takes to unpack is not granted to whoever asks for it.
for pack in 'xz -9' 'zstd -q --long=27' 'xz --lzma2=dict=256MiB' 'zstd -q --long=28'; do
  $pack <whole | counts - 2>&1
done
