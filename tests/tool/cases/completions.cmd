# Every name that is offered as a value is one, and none is missing that is offered elsewhere.
completions=$(dirname "$0")/../../../tools/velbgp/completions
bash -c '. "$1/velbgp.bash"; COMP_WORDS=(velbgp list "") COMP_CWORD=2; _velbgp; printf "%s\n" "${COMPREPLY[@]}"' - \
  "$completions" | tee names | velbgp decode --json | cut -d , -f 2-3
grep -q ":value:($(paste -s -d ' ' names))" "$completions/_velbgp" && echo the same in both shells
