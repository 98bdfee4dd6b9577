# The rooms velottectl read last; completion never asks the network.
_velottectl_rooms()
{
    local cache=${XDG_CACHE_HOME:-${HOME-}/.cache}/velotte/rooms line prefix=$1 quoted=
    [[ -r $cache ]] || return 0
    # Inside an opening quote the names go in as they are; otherwise spaces are escaped.
    case $prefix in
        \"* | \'*) quoted=1 prefix=${prefix:1} ;;
        *) prefix=${prefix//\\/} ;;
    esac
    while IFS= read -r line; do
        [[ -n $line && $line == "$prefix"* ]] || continue
        if [[ -n $quoted ]]; then
            COMPREPLY+=("$line")
        else
            COMPREPLY+=("$(printf '%q' "$line")")
        fi
    done <"$cache"
}

_velottectl()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local i word command= position=0
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ ${_velottectl_values[$word]+set} ]]; then
            ((i++)) # the option's value
        elif [[ $word == -* ]]; then
            :
        elif [[ -z $command ]]; then
            command=$word
        else
            position=$((position + 1))
        fi
    done

    if [[ ${_velottectl_values[$prev]+set} ]] && ((COMP_CWORD > 1)); then
        if [[ ${_velottectl_values[$prev]-} == @rooms ]]; then
            _velottectl_rooms "$cur"
        else
            COMPREPLY=($(compgen -W "${_velottectl_values[$prev]-}" -- "$cur"))
        fi
    elif [[ $cur == -* ]]; then
        if [[ -z $command ]]; then
            COMPREPLY=($(compgen -W "$_velottectl_globals" -- "$cur"))
        else
            COMPREPLY=($(compgen -W "${_velottectl_options[$command]-} --room --json --help" -- "$cur"))
        fi
    elif [[ -z $command ]]; then
        COMPREPLY=($(compgen -W "$_velottectl_commands" -- "$cur"))
    elif ((position == 0)) && [[ -n ${_velottectl_words[$command]-} ]]; then
        COMPREPLY=($(compgen -W "${_velottectl_words[$command]-}" -- "$cur"))
    elif [[ " $_velottectl_room_commands " == *" $command "* ]]; then
        _velottectl_rooms "$cur"
    fi
    return 0
}
complete -F _velottectl velottectl
