# Completion of spf-agent for bash. A test compares the options with what --help prints.

_spf_agent() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local verb=${COMP_WORDS[1]} options files=
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        mapfile -t COMPREPLY < <(compgen -W "run validate show schema legacy --help --version" -- "$word")
        return
    fi
    case $previous in
        --progress)
            mapfile -t COMPREPLY < <(compgen -W "auto tty plain json quiet" -- "$word")
            return
            ;;
        --root | --runtime-directory)
            mapfile -t COMPREPLY < <(compgen -d -- "$word")
            return
            ;;
        --timeout | --for | --expect) return ;;
    esac
    case $verb in
        run)
            options="--timeout --for --once --expect --watch --progress --root --runtime-directory --help"
            files=yes
            ;;
        validate) options="--help" files=yes ;;
        show) options="--root --help" files=yes ;;
        schema) options="--help" ;;
        legacy) options="--progress --root --runtime-directory --help" ;;
        *) return ;;
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
    elif [ -n "$files" ]; then
        mapfile -t COMPREPLY < <(compgen -d -- "$word"; compgen -f -X '!*.json' -- "$word")
    fi
}

complete -o filenames -F _spf_agent spf-agent
