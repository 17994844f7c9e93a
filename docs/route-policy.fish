# Completion of route-policy for fish. What may follow is asked of the tool.

function __route_policy_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    set -l tool (string replace -r '^~' $HOME -- $words[1])
    command -q $tool; or return
    set -l candidates ($tool --complete $words[2..] "$current" 2>/dev/null)
    if test "$candidates[1]" = FILE
        set -l option (string match -r -- '^--config=' $current)
        __fish_complete_path (string replace -- "$option" '' "$current") |
            string replace -r '^' -- "$option"
    else
        printf '%s\n' $candidates
    end
end

complete -c route-policy -f -a '(__route_policy_complete)'
