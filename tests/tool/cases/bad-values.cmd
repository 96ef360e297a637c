# status: 1
velbgp decode --json
