# status: 1
# No good value; a good one among bad ones; of each kind as many values as an attribute carries, and one more.
{
  echo bad 1:2:
  echo 0x0700000000000001 bad
  for count in 8191 8192; do yes 0x0700000000000001 | head -n $count | tr '\n' ' '; echo; done
  for count in 16383 16384; do yes 1:2 | head -n $count | tr '\n' ' '; echo no-such-name 3:4:5; done
  for count in 5461 5462; do yes 1:2:3 | head -n $count | tr '\n' ' '; echo; done
  for count in 3276 3277; do yes 0x000220010db80000000000000000000000010064 | head -n $count | tr '\n' ' '; echo; done
  echo 3:4:5 1:2:3
  # Quotes, and a label that stands alone.
  echo '"rt 65000:100",1:2:3 rt 65000:101 "1:2'
} | velbgp list --json >out
status=$?
cut -c 1-60 out
exit $status
