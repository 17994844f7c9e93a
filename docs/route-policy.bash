# Completion of route-policy for bash. Needs nothing but bash: source this file, or install it where
# bash-completion looks for it. What may follow is asked of the tool.

_route_policy() {
  local IFS=$' \t\n' cur=${COMP_WORDS[COMP_CWORD]} words=() i
  COMPREPLY=()

  # "--on-duplicate=WHAT" comes as three words: bash parts them at the "=".
  for ((i = 1; i <= COMP_CWORD; ++i)); do
    if ((i > 1)) && [[ ${COMP_WORDS[i]} == '=' || ${COMP_WORDS[i - 1]} == '=' ]]; then
      words[-1]+=${COMP_WORDS[i]}
    else
      words+=("${COMP_WORDS[i]}")
    fi
  done
  if [[ $cur == '=' ]]; then cur=''; fi
  local word=${words[-1]}
  mapfile -t words < <("${COMP_WORDS[0]/#\~/$HOME}" --complete "${words[@]}" 2>/dev/null)

  if [[ ${words[0]-} == 'FILE' ]]; then
    compopt -o filenames 2>/dev/null # not there when nobody pressed Tab
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
    return
  fi
  words=("${words[@]%%$'\t'*}") # without the descriptions
  if [[ $word != "$cur" ]]; then words=("${words[@]#*=}"); fi
  mapfile -t COMPREPLY < <(compgen -W "${words[*]}" -- "$cur")
}

complete -F _route_policy route-policy
