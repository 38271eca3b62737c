# Completion of orvel-cli for bash.

_orvel_cli() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    # Bash takes "--agent=codex" for three words.
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    local command= is_value= i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        =) is_value=yes ;;
        --home | --data | --agent | --source | --from | --note | --wait) is_value=yes ;;
        list | show | preview | url | recent | relay | keybindings | command | \
            link | links | send | pending | retry | copy-saved | receipts | doctor)
            [[ -n $is_value || -n $command ]] || command=${COMP_WORDS[i]}
            is_value=
            ;;
        *) is_value= ;;
        esac
    done

    local options="--home --data --json --sample --help --version"
    case $command in
    list | show) options+=" --agent" ;;
    preview) options+=" --agent --from --note" ;;
    send) options+=" --source --from --note --wait --through-claude-code" ;;
    retry) options+=" --wait --through-claude-code" ;;
    doctor) options+=" --try-keyboard" ;;
    esac

    COMPREPLY=()
    case $previous in
    --home | --data)
        compopt -o filenames 2>/dev/null
        local IFS=$'\n'
        COMPREPLY=($(compgen -d -- "$current"))
        return
        ;;
    --agent | --source)
        COMPREPLY=($(compgen -W "codex claude" -- "$current"))
        return
        ;;
    --from | --note | --wait) return ;;
    esac

    if [[ $current == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$current"))
        return
    fi
    case $command in
    "")
        local commands="list show preview url recent relay keybindings command"
        commands+=" link links send pending retry copy-saved receipts doctor"
        COMPREPLY=($(compgen -W "$commands" -- "$current"))
        ;;
    relay)
        if [[ $previous == relay ]]; then
            COMPREPLY=($(compgen -W "check" -- "$current"))
            return
        fi
        compopt -o filenames 2>/dev/null
        local IFS=$'\n'
        COMPREPLY=($(compgen -f -- "$current"))
        ;;
    show | preview | keybindings)
        compopt -o filenames 2>/dev/null
        local IFS=$'\n'
        COMPREPLY=($(compgen -f -- "$current"))
        ;;
    esac
}

complete -F _orvel_cli orvel-cli
