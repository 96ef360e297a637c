# status: 1
# What cannot be opened or read is told; the rest counts.
velbgp sample --paths 5 >good
mkfifo fifo
velbgp sample --paths 6 >fifo &
printf x >short
printf '' >empty
mkdir folder
printf 'BZh91AY&SYxx' >torn.bz2
velbgp mrt --json absent good folder fifo short empty torn.bz2 "$(printf 'bad\nname\033')" - <good
status=$?
wait
exit $status
