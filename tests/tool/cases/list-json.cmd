velbgp list --json --match 'RT:65000'
