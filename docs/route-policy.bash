# Completion of route-policy for bash. Needs nothing but bash: source this file, or install it where
# bash-completion looks for it.

_route_policy() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local commands='check show match compile get set unset diff commit abort' common='--help -h'
  local command='' words='' files=0 config=0 i
  local kinds='prefix-list ipv6-prefix-list as-path-list community-list'
  COMPREPLY=()

  local lists='--ipv6 -6 --as-path -a --on-duplicate --regex-mode --notation --strict'

  # "--on-duplicate=WHAT" comes as three words: bash parts them at the "=". So does an edit, which is
  # not ours to complete.
  if [[ $cur == '=' ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 1]} cur=''
  elif [[ $prev == '=' ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi

  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      --on-duplicate | --regex-mode | --notation | --origin | --config)
        if [[ ${COMP_WORDS[i]} == --config ]]; then config=1; fi
        if [[ ${COMP_WORDS[i + 1]} == '=' ]]; then ((++i)); fi
        ((++i))
        ;;
      -?*) ;;
      *)
        if [[ -n $command ]]; then
          ((++files))
        elif [[ " $commands " == *" ${COMP_WORDS[i]} "* ]]; then
          command=${COMP_WORDS[i]}
        fi
        ;;
    esac
  done

  if [[ $prev == --config ]]; then
    words='file'
  elif [[ $prev == --on-duplicate ]]; then
    words='error ignore override'
  elif [[ $prev == --regex-mode ]]; then
    words='dfa posix'
  elif [[ $prev == --notation ]]; then
    words='asplain asdot'
  elif [[ $prev == --origin ]]; then
    words='igp egp incomplete'
  elif [[ -z $command ]]; then
    words="$commands $common --config --version -V"
    if ((config)); then words=$commands; fi
  elif [[ $cur == -* ]]; then
    case $command in
      match) words="$common $lists --origin --exact --json --config --candidate" ;;
      check | show | compile) words="$common $lists --json --config --candidate" ;;
      get) words="$common --json --config --candidate" ;;
      set | unset) words="$common --config" ;;
      *) words="$common --json --config" ;;
    esac
  elif [[ $command == @(check|show|match|compile) ]]; then
    if ((config)); then
      if ((!files)); then words=$kinds; fi
    elif [[ $command == check ]] || ((!files)); then
      words='file'
    fi
  fi

  if [[ $words == 'file' ]]; then
    compopt -o filenames 2>/dev/null # not there when nobody pressed Tab
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
}

complete -F _route_policy route-policy
