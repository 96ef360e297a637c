velbgp mrt --top 0 --match . /dev/null
