# Completion of route-policy for bash. Needs nothing but bash: source this file, or install it where
# bash-completion looks for it.

_route_policy() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local commands='check show match compile' common='--help -h'
  local command='' words='' files=0 i
  COMPREPLY=()

  # "--on-duplicate=WHAT" comes as three words: bash parts them at the "=".
  if [[ $cur == '=' ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 1]} cur=''
  elif [[ $prev == '=' ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi

  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      check | show | match | compile)
        command=${COMP_WORDS[i]}
        break
        ;;
    esac
  done
  for ((++i; i < COMP_CWORD; ++i)); do
    if [[ ${COMP_WORDS[i]} == --on-duplicate ]]; then
      if [[ ${COMP_WORDS[i + 1]} == '=' ]]; then ((++i)); fi
      ((++i))
    elif [[ ${COMP_WORDS[i]} != -?* ]]; then
      ((++files))
    fi
  done

  if [[ -z $command ]]; then
    words="$commands $common --version -V"
  elif [[ $prev == --on-duplicate ]]; then
    words='error ignore override'
  elif [[ $cur == -* ]]; then
    words="$common --ipv6 -6 --on-duplicate --json"
  elif [[ $command == check || $files == 0 ]]; then
    compopt -o filenames 2>/dev/null # not there when nobody pressed Tab
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
}

complete -F _route_policy route-policy
