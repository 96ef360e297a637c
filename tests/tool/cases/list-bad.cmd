# status: 1
# No good value; a good one among bad ones; as many values as an attribute carries, and one more.
{
  echo bad 1:2
  echo 0x0700000000000001 bad
  for count in 8191 8192; do yes 0x0700000000000001 | head -n $count | tr '\n' ' '; echo; done
} | velbgp list --json >out
status=$?
cut -c 1-60 out
exit $status
