# status: 1
# Counted by all that there is to count by: repeats in one path are one path, what has no peer is counted too, names are
# no part of a value, and what cannot be opened has no table of zeros.
printf '64500:1nn  "hundreds", of n\nrt:*:7 sevens\n' >names
perl "${0%/*}/records.pl" >one
velbgp mrt --json --top all --names names one
velbgp mrt --json --top 1 --by file one absent one | grep -o '"file.*extended":\|"large.*topLists":...\|"standard.*'
velbgp mrt --json --by peer one | sed 's/"extended".*"standard"/"standard"/'
velbgp mrt --csv --names names one
velbgp mrt --csv --by peer --top 1 one one
cp one "$(printf 'a,"\377')"
velbgp mrt --csv --by file "$(printf 'a,"\377')" | sed -n 1,2p
for threads in 1 5; do velbgp mrt --json --threads $threads --match '64500:101' one | grep -o '"matches":.'; done
velbgp mrt absent
