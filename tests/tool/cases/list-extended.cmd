# What each list says of itself, what pruning leaves of its bandwidths (the smallest valid one by its number, not by its
# value: AS 1 comes first), and what each filter lets through.
velbgp list --json 2>/dev/null | sed 's/"text".*"attrs"/"attrs"/; s/"classifications".*"serialize"/"serialize"/'
