# Bash completion for velbgp.
_velbgp() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} options
  local filters='--not --prefix --longer --covers --peer --peer-as --origin-as --as --as-path --community --rt --match
    --family --announced --withdrawn --since --until'
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W 'decode diff list mrt routes sample store --help --version' -- "$current")
    return
  fi
  case $previous in
    --by)
      mapfile -t COMPREPLY < <(compgen -W 'file peer' -- "$current")
      return
      ;;
    --publish)
      compopt -o dirnames
      return
      ;;
    --names)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
    --announced | --withdrawn | --not) ;;
    --match | --top | --threads | --paths | --seed | --limit | --key | --prefix | --longer | --covers | --peer* | \
      --origin-as | --as | --as-path | --community | --rt | --family | --since | --until) return ;;
  esac
  case ${COMP_WORDS[1]} in
    decode) options='--json --names --no-mvpn' ;;
    diff) options="--json --csv --names --no-mvpn $filters" ;;
    list) options='--json --explain --match --names --no-mvpn' ;;
    mrt) options='--json --csv --by --top --match --threads --publish --names --no-mvpn' ;;
    routes) options="--json --csv --bgpdump --raw --count --limit --names --no-mvpn $filters" ;;
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
  elif [[ ${COMP_WORDS[1]} == @(diff|mrt|routes) ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -F _velbgp velbgp
