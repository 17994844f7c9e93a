#compdef route-policy
# Completion of route-policy for zsh: a file _route-policy in a folder of fpath. What may follow is
# asked of the tool.

local -a candidates
candidates=("${(@f)$("${~words[1]}" --complete "${(@Q)words[2,CURRENT]}" 2>/dev/null)}")

if [[ $candidates[1] == FILE ]]; then
  compset -P '--config='
  _files
elif [[ -n $candidates[1] ]]; then
  candidates=("${(@)candidates//:/\\:}")  # a colon parts a word from its description
  candidates=("${(@)candidates/$'\t'/:}")
  _describe 'route-policy' candidates
fi
