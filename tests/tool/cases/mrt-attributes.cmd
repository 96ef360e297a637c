# status: 1
# One path of each fault that an attribute can have, and one with a repeated value and a repeated attribute.
unhex() { perl -ne 'chomp; print pack "H*", $_'; }
u() { # attributes in hex: a record of type 16, subtype 4
  n=$((${#1} / 2))
  printf '%08x00100004%08x' 0 $((n + 43)) | unhex
  printf '%020x0001%016x%s%04x020000%04x%s' 0 0 ffffffffffffffffffffffffffffffff $((n + 23)) $n "$1" | unhex
}
{
  u c01000
  u c010070002fde8000000
  u c0080300010064
  u c00800c0200b0000000000000000000000
  u c01900
  u c010180002fde8000000640002fde8000000640003fde800000064c010080700000000000000
} | velbgp mrt --json --match '^65000:100 65000:100$' -
