# status: 1
# A malformed record is reported once, and nothing of it is used; the good ones before and behind it are. There is one
# before the first and one behind each.
sed -e '/^1/a 16 4 L U' -e '1i 16 4 L U' | perl "${0%/*}/records.pl" >records
velbgp mrt --json records
