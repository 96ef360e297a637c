# Every name that is offered as a value is one, and none is missing that is offered elsewhere; every shell offers the
# options that there are.
completions=$(dirname "$0")/../../../tools/velbgp/completions
offer() {
  bash -c '. "$1/velbgp.bash"; COMP_WORDS=(velbgp "$2" "$3") COMP_CWORD=2; _velbgp; printf "%s\n" "${COMPREPLY[@]}"' - \
    "$completions" "$@"
}
offer list '' | tee names | velbgp decode --json | cut -d , -f 2-3
values=$(paste -s -d ' ' names)
grep -q ":value:($values)" "$completions/_velbgp" && grep -q "'$values'" "$completions/velbgp.fish" &&
  echo the same in all shells
for command in decode diff list mrt routes sample store; do
  velbgp $command --help | sed -n 's/^  \(-h,\)\?\(--[a-z-]*\).*/\2/p' | sort >there
  offer $command -- | sort | diff there - >&2
  {
    printf '%s\n' --help --version
    sed -n "s/.*__velbgp_in [^']*\<$command\>[^']*' -l \([a-z-]*\).*/--\1/p" "$completions/velbgp.fish"
  } | sort | diff there - >&2
  for option in $(cat there); do grep -q -e "$option\[" "$completions/_velbgp" || echo "zsh lacks $option of $command" >&2; done
done
