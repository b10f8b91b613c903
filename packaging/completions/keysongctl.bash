# Completion of keysongctl for bash.

_keysongctl() {
    local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]:-}
    local commands='status toggle on off volume sets set output tone preview settings quit stats render import check'
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands help --help --version" -- "$word")
        return
    fi
    case $command in
        set | preview)
            [ "$COMP_CWORD" -eq 2 ] && mapfile -t COMPREPLY < <(compgen -W "$(keysongctl sets 2>/dev/null |
                sed 's/^[* ] //; s/\t.*//')" -- "$word")
            ;;
        output)
            [ "$COMP_CWORD" -eq 2 ] && mapfile -t COMPREPLY < <(compgen -W "$(keysongctl output 2>/dev/null |
                sed 's/^[* ] //; s/\t.*//')" -- "$word")
            ;;
        status) mapfile -t COMPREPLY < <(compgen -W "--json --help" -- "$word") ;;
        stats) mapfile -t COMPREPLY < <(compgen -W "--reset --help" -- "$word") ;;
        import)
            case $word in
                -*) mapfile -t COMPREPLY < <(compgen -W "--replace --help" -- "$word") ;;
                *) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
            esac
            ;;
        help)
            [ "$COMP_CWORD" -eq 2 ] && mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
            ;;
        check) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
        render)
            case $word in
                -*) mapfile -t COMPREPLY < <(compgen -W "--set --seed --tone --body --volume --no-spatial
                    --output --help" -- "$word") ;;
                *) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
            esac
            ;;
    esac
}
complete -F _keysongctl keysongctl
