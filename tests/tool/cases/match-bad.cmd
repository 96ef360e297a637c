# status: 2
velbgp mrt --match '(' /dev/null
