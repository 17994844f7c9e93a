# Completion of route-policy for fish. What may follow is asked of the tool.

function __route_policy_candidates
    set -l words (commandline -opc)
    set -l tool (string replace -r '^~' $HOME -- $words[1])
    command -q $tool; or return
    $tool --complete $words[2..] "$(commandline -ct)" 2>/dev/null
end

# Files are left to fish, which knows how their names are quoted.
complete -c route-policy -f -a '(__route_policy_candidates | string match -v FILE)'
complete -c route-policy -n 'contains FILE (__route_policy_candidates)' -F
