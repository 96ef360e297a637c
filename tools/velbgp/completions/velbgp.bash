# Bash completion for velbgp.
_velbgp() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} options
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W 'decode list mrt sample store --help --version' -- "$current")
    return
  fi
  case $previous in
    --match | --top | --threads | --key | --paths | --seed) return ;;
    --publish)
      compopt -o dirnames
      return
      ;;
  esac
  case ${COMP_WORDS[1]} in
    decode) options='--json --no-mvpn' ;;
    list) options='--json --match --no-mvpn' ;;
    mrt) options='--json --top --match --threads --publish --no-mvpn' ;;
    sample) options='--paths --seed' ;;
    store) options='--json --key --follow' ;;
    *) return ;;
  esac
  if [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options --help --version" -- "$current")
  elif [[ ${COMP_WORDS[1]} == @(decode|list) ]]; then
    mapfile -t COMPREPLY < <(compgen -W 'internet GSHUT llgr-stale no-llgr no-export no-advertise local-as' -- "$current")
  elif [[ ${COMP_WORDS[1]} == store ]]; then
    compopt -o dirnames
  elif [[ ${COMP_WORDS[1]} == mrt ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -F _velbgp velbgp
