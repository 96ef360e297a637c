# Whatever octets of a stream are damaged: each error is counted, and those of a file are in order.
perl "${0%/*}/records.pl" |
  perl -e 'srand 2; local $/; my $whole = <STDIN>; for my $round (1 .. 5000) {
             my $damaged = $whole;
             substr($damaged, rand length $whole, 1) = chr rand 256 for 0 .. $round % 4;
             open my $part, ">", sprintf "part%04d", $round; print $part $damaged }'
velbgp mrt --json part* >out 2>err
echo $?
grep -o '"files":5000' out
grep -q "\"malformed\":$(wc -l <err)," out && echo as many as are counted
sort -sc -t@ -k1,1 -k2,2n err && echo in order
