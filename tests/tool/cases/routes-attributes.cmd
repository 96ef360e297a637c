# What stands in attributes, well formed and not.
perl "${0%/*}/records.pl" >records
velbgp routes --json records | sed 's/"announce",.*"prefix"://'
velbgp routes --raw --csv --prefix 20.0.0.0/8 records 2>err
velbgp routes --prefix 20.0.0.0/8 records 2>err | tail -n 1
# Names, beside what IANA says; a note where the text that is shown is not what expressions see.
printf '%s\n' '65000:nnn ours' '"rt 65000:*" our VPNs' >names
velbgp routes --names names --community 65535:666 records 2>err | cut -c 76- | tail -n 1
velbgp routes --count --match Route-Target-AS:65000:100 records 2>&1 | grep -v @
