# status: 1
# no sanitizer: it takes more address space than this case grants
# Lines that are too long, one of them the last and without an end, are told and passed over.
ulimit -v 200000
long() { head -c 300000000 /dev/zero | tr '\0' x; }
{ echo 1:2; long; echo; echo 3:4; long; } | velbgp decode --json
