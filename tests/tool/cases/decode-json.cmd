velbgp decode --json
