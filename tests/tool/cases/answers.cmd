# A value's answer comes before the next value is waited for.
mkfifo question answer
velbgp decode --json <question >answer &
exec 3>question 4<answer
echo 0x0700000000000001 >&3
read -r line <&4
echo "${line%%,\"class*}"
