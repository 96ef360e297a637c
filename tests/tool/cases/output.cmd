# A full disk is an error, a reader that leaves is none, whatever SIGPIPE does; closed streams are not mixed up with files.
velbgp sample --paths 100 >/dev/full; echo $?
velbgp decode 0x0700000000000001 >/dev/full; echo $?
velbgp --help >/dev/full; echo $?
velbgp sample --paths 100000 | head -c 10 | wc -c
(trap '' PIPE; velbgp sample --paths 100000; echo $? >status) | head -c 10 | wc -c
cat status
velbgp sample --paths 2 >good
velbgp mrt --json good >&-; echo $?
velbgp decode <&-; echo $?
velbgp list <.; echo $?
cksum <good
