# What stands in attributes, well formed and not.
perl "${0%/*}/records.pl" >records
velbgp routes --json records | sed 's/"announce",.*"prefix"://'
velbgp routes --raw --csv --prefix 20.0.0.0/8 records 2>err
velbgp routes --prefix 20.0.0.0/8 records 2>err | tail -n 1
