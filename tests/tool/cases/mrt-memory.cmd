# status: 1
# no sanitizer: it takes more address space than this case grants
# A claim of 4 GiB with little behind it, then one of 200 MiB that holds, packed to little: neither is kept, and reading
# goes on behind it.
unhex() { perl -ne 'chomp; print pack "H*", $_'; }
ulimit -v 200000
printf '%08x000d0004ffffffff' 0 | unhex >claim
head -c 1000000 /dev/zero >>claim
velbgp mrt --json claim
{ printf '%08x000d00040c800000' 0 | unhex; head -c 209715200 /dev/zero; velbgp sample --paths 4; } | gzip -1 | velbgp mrt --json -
