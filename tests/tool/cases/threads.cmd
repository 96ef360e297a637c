# recorded data
# No output depends on the number of threads: of good files and torn ones, without a match and with one, with a store, on
# a full disk.
head -c 2000000 "$VELBGP_TEST_DATA/ipv6-rib.bz2" >torn.bz2
perl "${0%/*}/records.pl" <"${0%/*}/mrt-malformed.in" >malformed
velbgp sample --paths 30000 >sample
for threads in 1 2 4 9; do
  {
    for file in "$VELBGP_TEST_DATA"/*[!d] torn.bz2 malformed absent; do
      velbgp mrt --json --threads $threads --match 65000 "$file"; echo $?
    done
    velbgp mrt --threads $threads --top 50 sample torn.bz2 malformed; echo $?
    velbgp mrt --threads $threads --match '1:.*2' sample "$VELBGP_TEST_DATA/freertr-bgp4.mrt"; echo $?
    velbgp mrt --threads $threads sample >/dev/full; echo $?
    velbgp mrt --threads $threads sample | head -c 10; echo
    velbgp mrt --json --threads $threads --publish store$threads sample malformed; echo $?
    velbgp store --json store$threads
  } >$threads 2>&1
  cmp 1 $threads
done
grep -c . 1 | sed 's/[0-9]\{4,\}/many lines/'
velbgp mrt --threads 0 sample 2>&1; echo $?
