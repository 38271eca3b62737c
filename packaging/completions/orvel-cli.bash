# Completion of orvel-cli for bash. Identifiers come from the program itself.

# Those of a kind that begin with what stands there, in letters of any case.
_orvel_cli_ids() {
    local id current=${2^^}
    for id in $("${COMP_WORDS[0]}" complete "$1" 2>/dev/null); do
        [[ ${id^^} != "$current"* ]] || COMPREPLY+=("$id")
    done
}

_orvel_cli() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    # Bash takes "--agent=codex" for three words.
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    local command= is_value= i place=1 # Which argument of the command it is.
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        =) is_value=yes ;;
        --home | --data | --agent | --source | --to | --from | --last | --note | --question | --wait | --folder) is_value=yes ;;
        list | show | preview | url | recent | relay | keybindings | command | \
            link | links | send | pending | retry | copy-saved | receipts | new | extend | close | reopen | bind | doctor | archive | ask)
            if [[ -z $is_value && -n $command ]]; then
                ((++place))
            fi
            [[ -n $is_value || -n $command ]] || command=${COMP_WORDS[i]}
            is_value=
            ;;
        -*) is_value= ;;
        *)
            [[ -n $is_value || -z $command ]] || ((++place))
            is_value=
            ;;
        esac
    done

    local options="--home --data --json --sample --help --version"
    case $command in
    list | show) options+=" --agent" ;;
    preview) options+=" --agent --from --last --note" ;;
    links) options+=" --closed" ;;
    send) options+=" --source --from --last --note --wait --through-claude-code" ;;
    retry) options+=" --folder --wait --through-claude-code" ;;
    new) options+=" --to --folder --note --from --last --wait" ;;
    extend) options+=" --leading --trailing" ;;
    doctor) options+=" --try-keyboard --tree" ;;
    archive) options+=" --to" ;;
    ask) options+=" --question" ;;
    esac

    COMPREPLY=()
    # Of other commands it names an agent.
    [[ $command != archive || $previous != --to ]] || previous=--folder
    case $previous in
    --home | --data | --folder)
        compopt -o filenames 2>/dev/null
        local IFS=$'\n'
        COMPREPLY=($(compgen -d -- "$current"))
        return
        ;;
    --agent | --source | --to)
        COMPREPLY=($(compgen -W "codex claude" -- "$current"))
        return
        ;;
    --tree)
        COMPREPLY=($(compgen -W "codex claude dia" -- "$current"))
        return
        ;;
    --from | --last | --note | --question | --wait) return ;;
    esac

    if [[ $current == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$current"))
        return
    fi
    case $command in
    "")
        local commands="list show preview url recent relay keybindings command"
        commands+=" link links send pending retry copy-saved receipts new extend close reopen bind doctor archive ask"
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
    archive | ask)
        compopt -o filenames 2>/dev/null
        local IFS=$'\n'
        COMPREPLY=($(compgen -d -- "$current"))
        ;;
    show | preview | keybindings)
        compopt -o filenames 2>/dev/null
        local IFS=$'\n'
        COMPREPLY=($(compgen -f -- "$current"))
        [[ $command == keybindings || $current == */* ]] || _orvel_cli_ids conversations "$current"
        ;;
    link)
        if ((place == 1)); then
            _orvel_cli_ids codex "$current"
        elif ((place == 2)); then
            _orvel_cli_ids claude "$current"
        fi
        ;;
    send | close) ((place > 1)) || _orvel_cli_ids links "$current" ;;
    reopen) ((place > 1)) || _orvel_cli_ids closed "$current" ;;
    retry | copy-saved) ((place > 1)) || _orvel_cli_ids saved "$current" ;;
    new) ((place > 1)) || _orvel_cli_ids conversations "$current" ;;
    extend | bind)
        if ((place == 1)); then
            if [[ $command == bind ]]; then
                _orvel_cli_ids first "$current"
            else
                _orvel_cli_ids links "$current"
            fi
        elif ((place == 2)); then
            _orvel_cli_ids conversations "$current"
        fi
        ;;
    esac
}

complete -F _orvel_cli orvel-cli
