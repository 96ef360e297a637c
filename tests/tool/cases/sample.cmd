# The same octets on every machine; other seeds, other octets; any number of paths.
velbgp sample --paths 1000 --seed 7 | cksum
velbgp sample --paths 1000 --seed 8 | cksum
velbgp sample --paths 1000 --seed 7 | velbgp mrt --json -
velbgp sample --paths 0 | velbgp mrt --json - | cut -c 1-30
velbgp sample --paths 1 | velbgp mrt --json - | cut -c 1-30
