# A torn file gives what came before the tear, and one error; where exactly is the packer's affair.
velbgp sample --paths 2000 >whole
for pack in cat gzip bzip2; do
  $pack <whole >packed
  size=$(wc -c <packed)
  head -c $((size - 9)) packed | velbgp mrt --json - 2>err >out
  echo $?
  grep -o '"files":1\|"malformed":1' out
  sed 's/@[0-9]*/@N/' err
done
