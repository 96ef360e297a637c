velbgp sample --paths 300 --seed 5 | velbgp mrt --top 3 -
