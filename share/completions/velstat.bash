# Completion of velstat in bash, with the functions of bash-completion. velstat itself says what can come next.

_velstat()
{
    local cur prev words cword
    _get_comp_words_by_ref -n =: cur prev words cword || return

    local -a answer
    mapfile -t answer < <("${words[0]/#\~/$HOME}" __complete "${words[@]:1:cword}" 2>/dev/null)
    ((${#answer[@]})) || return
    local paths=${answer[0]%%$'\t'*} prefix=${answer[0]#*$'\t'}

    # What bash takes for the word begins after the last "=" or ":".
    cur=${cur#"$prefix"}
    local kept=$prefix
    case $kept in
        *[$COMP_WORDBREAKS]*) kept=${kept##*[$COMP_WORDBREAKS]} ;;
    esac

    case $paths in
        files) _filedir ;;
        folders) _filedir -d ;;
    esac
    local line
    for line in "${answer[@]:1}"; do
        COMPREPLY+=("$kept${line%%$'\t'*}")
    done
}

complete -F _velstat velstat
