# SPDX-License-Identifier: MIT
# bash completion for vesk4710, vesk4710-sim and vesk4710-gui. Commands, options, setting names
# and the channel range come from the program's own --help, so they follow the installed
# version without a list kept here.

# The help of the program at a command path: _vesk4710_help PROGRAM [WORDS...]
_vesk4710_help() {
    LC_ALL=C.UTF-8 "$@" --help 2>/dev/null
}

# First word of each entry of a help section ("Subcommands:", "Settings:").
_vesk4710_section() {
    awk -v heading="$1" '$0 == heading { inside = 1; next }
        inside && /^  [^ ]/ { print $1; next }
        inside && /^[^ ]/ { inside = 0 }'
}

# Options that take a value: an upper-case type word follows the name ("--device TEXT").
_vesk4710_value_options() {
    grep -oE -- '--[a-z][-a-z]* [A-Z][A-Z]+' | cut -d' ' -f1
}

_vesk4710() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local program=${COMP_WORDS[0]}
    COMPREPLY=()
    case $prev in
        --device)
            COMPREPLY=($(compgen -W "sim tcp://" -- "$cur") $(compgen -G "/dev/tty[UA]*" -- "$cur"))
            return
            ;;
        --trace | --passcode-file | --config | --db | --state | --data | --settings | --link | \
            --output | --record | --screenshot)
            COMPREPLY=($(compgen -f -- "$cur"))
            return
            ;;
    esac

    # The words before the cursor: commands and their arguments, without options and values.
    # Each command's help names the options of its own that take a value.
    local help valued words=() i word
    help=$(_vesk4710_help "$program")
    valued=" $(_vesk4710_value_options <<<"$help" | tr '\n' ' ') "
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $valued == *" $word "* ]]; then
            ((i++))
        elif [[ $word != -* ]]; then
            words+=("$word")
            help=$(_vesk4710_help "$program" "${words[@]}")
            valued+="$(_vesk4710_value_options <<<"$help" | tr '\n' ' ') "
        fi
    done

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$(grep -oE -- '(^|[ ,])--?[A-Za-z][-A-Za-z]*' <<<"$help" |
            tr -d ' ,' | sort -u)" -- "$cur"))
        return
    fi
    if [[ $prev == --channel || $prev == --channels ]]; then
        words+=(read)
    fi

    local last="" candidates
    if ((${#words[@]} > 0)); then
        last=${words[${#words[@]} - 1]}
    fi
    case $last in
        get | set)
            candidates=$(_vesk4710_section "Settings:" <<<"$help")
            ;;
        channel | read)
            local most
            most=$(_vesk4710_help "$program" "$last" | grep -oE '1 to [0-9]+' | head -n 1)
            candidates=$(seq 1 "${most#1 to }" 2>/dev/null)
            ;;
        *)
            candidates=$(_vesk4710_section "Subcommands:" <<<"$help")
            ;;
    esac
    COMPREPLY=($(compgen -W "$candidates" -- "$cur"))
}

complete -F _vesk4710 vesk4710 vesk4710-sim vesk4710-gui
