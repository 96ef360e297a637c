# status: 1
# Each way to type a value, then what comes close and is none: of that only where it stood.
velbgp decode --json 2>errors
status=$?
cut -d ' ' -f 2-3 errors
exit $status
