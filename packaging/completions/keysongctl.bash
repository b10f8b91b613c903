# Completion of keysongctl for bash.

# Adds those of the words that begin as the one being typed, quoted as the shell needs them. Names of sets and
# outputs come from strangers: nothing here evaluates them.
_keysongctl_words() {
    local candidate quoted
    for candidate; do
        printf -v quoted %q "$candidate"
        if [[ $candidate == "$word"* || $quoted == "$word"* ]]; then
            COMPREPLY+=("$quoted")
        fi
    done
}

# The identifiers in a list that the program prints.
_keysongctl_listed() {
    local -a lines
    mapfile -t lines < <(keysongctl "$1" 2>/dev/null | sed 's/^[* ] //; s/\t.*//')
    _keysongctl_words "${lines[@]}"
}

_keysongctl() {
    local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]:-}
    local -a commands=(status toggle on off volume sets set output tone preview settings quit stats render import
        check access)
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        _keysongctl_words "${commands[@]}" help --help --version
        return
    fi
    case $command in
        set | preview) [ "$COMP_CWORD" -ne 2 ] || _keysongctl_listed sets ;;
        output) [ "$COMP_CWORD" -ne 2 ] || _keysongctl_listed output ;;
        access) [ "$COMP_CWORD" -ne 2 ] || _keysongctl_words status grant revoke ;;
        status) _keysongctl_words --json --help ;;
        stats) _keysongctl_words --reset --help ;;
        import)
            case $word in
                -*) _keysongctl_words --replace --help ;;
                *) compopt -o default ;;
            esac
            ;;
        help) [ "$COMP_CWORD" -ne 2 ] || _keysongctl_words "${commands[@]}" ;;
        check) compopt -o dirnames ;;
        render)
            case $word in
                -*) _keysongctl_words --set --seed --tone --body --volume --no-spatial --output --help ;;
                *) compopt -o default ;;
            esac
            ;;
    esac
}
complete -F _keysongctl keysongctl
