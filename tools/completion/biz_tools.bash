# shellcheck shell=bash
# Completion of biz_console, biz_simulator and biz_monitor for bash: commands, options, and the values of
# options. Installed once under the name of each, since that is how bash-completion finds it;
# `source` works as well.
#
# Nothing but the models is listed here: what there is to complete is read from the --help of the
# program that is being typed, so that the two cannot disagree. What an option takes is told by its
# name in the help, `--script <FILE>`, the kinds of faults by the help's "Kinds: ...", and events by its "Events: ...".

_biz_models=(A2 A1MAX A3 PVN410MAX K250 PVN410MAX2 A5)

# The help of a command, or of the program, in the language of its source.
_biz_help() {
    LC_ALL=C "$program" "$@" --help 2>/dev/null </dev/null
}

# Each option of a help, and behind a blank the name of its value.
_biz_options() {
    sed -nE 's/^  (-[a-zA-Z], )?(--[a-z-]+)( <([^>]*)>)?.*/\2 \4/p' <<<"$1"
}

# The kinds of faults: "Kinds: silence, late." gives two.
_biz_kinds() {
    tr -s ' \n' ' ' <<<"$1" | sed -nE 's/.*Kinds: ([^.]*)\..*/\1/p' | tr -d ' ' | tr ',' ' '
}

# The events that lines are of, told in the same way.
_biz_events() {
    tr -s ' \n' ' ' <<<"$1" | sed -nE 's/.*Events: ([^.]*)\..*/\1/p' | tr -d ' ' | tr ',' ' '
}

_biz_commands() {
    sed -nE '/^Commands:/,/^$/s/^  ([a-z]+) .*/\1/p' <<<"$1"
}

# The words as the user sees them: readline has split them at every = and colon.
_biz_join_words() {
    local i part
    words=()
    for ((i = 0; i <= COMP_CWORD; i++)); do
        part=${COMP_WORDS[i]}
        if ((i > 1)) && [[ $part == [:=]* || ${COMP_WORDS[i - 1]} == *[:=] ]]; then
            words[${#words[@]} - 1]+=$part
        else
            words+=("$part")
        fi
    done
}

# _biz_offer VALUE CANDIDATE...: those that begin with VALUE, without what readline keeps.
_biz_offer() {
    local value=$1 candidate kept=
    shift
    [[ $value == *[:=]* ]] && kept=${value%"${value##*[:=]}"}
    for candidate; do
        [[ $candidate == "$value"* ]] && COMPREPLY+=("${candidate#"$kept"}")
    done
}

# _biz_offer_paths VALUE [-d]: files, or folders alone.
_biz_offer_paths() {
    local value=$1 path
    compopt -o filenames 2>/dev/null
    while IFS= read -r path; do
        _biz_offer "$value" "${value%"${value##*=}"}$path"
    done < <(compgen "${2:--f}" -- "${value##*=}")
}

# The name of an option's value; nothing for an option without one.
_biz_kind_of_value() {
    awk -v name="$1" '$1 == name { print $2 }' <<<"$2"
}

_biz_value() {
    local kind=$1 value=$2 help=$3 kinds
    case ${kind,,} in
    *file* | script | session* | name) _biz_offer_paths "$value" ;;
    folder | dir*) _biz_offer_paths "$value" -d ;;
    model) _biz_offer "${value^^}" "${_biz_models[@]}" ;;
    event)
        # shellcheck disable=SC2046
        _biz_offer "$value" $(_biz_events "$help")
        ;;
    n=kind)
        read -ra kinds <<<"$(_biz_kinds "$help")"
        [[ $value == *=* ]] && _biz_offer "$value" "${kinds[@]/#/${value%%=*}=}"
        ;;
    kind=p)
        read -ra kinds <<<"$(_biz_kinds "$help")"
        [[ $value == *=* ]] || _biz_offer "$value" "${kinds[@]/%/=}"
        compopt -o nospace 2>/dev/null
        ;;
    esac
}

# What an argument that is no option is, by the usage line: a model or a file.
_biz_argument() {
    local help=$1 value=$2
    case ${help%%$'\n'*} in
    *' MODEL'*) _biz_value MODEL "$value" "$help" ;;
    *) _biz_offer_paths "$value" ;;
    esac
}

_biz_options_or_values() {
    local help=$1 current=${words[-1]} previous=${words[-2]} options kind=
    options=$(_biz_options "$help")
    [[ $previous == --* ]] && kind=$(_biz_kind_of_value "$previous" "$options")
    if [[ $current == --*=* ]]; then
        _biz_value "$(_biz_kind_of_value "${current%%=*}" "$options")" "${current#*=}" "$help"
    elif [[ -n $kind ]]; then
        _biz_value "$kind" "$current" "$help"
    elif [[ $current == -* ]]; then
        # shellcheck disable=SC2046
        _biz_offer "$current" $(grep -oE '^  -[a-zA-Z]' <<<"$help") $(cut -d ' ' -f 1 <<<"$options")
    else
        _biz_argument "$help" "$current"
    fi
}

_biz_console() {
    local program words
    COMPREPLY=()
    _biz_join_words
    program=${words[0]/#\~/$HOME}
    if ((${#words[@]} == 3)) && [[ ${words[1]} == help ]]; then
        # shellcheck disable=SC2046
        _biz_offer "${words[2]}" $(_biz_commands "$(_biz_help)")
    elif ((${#words[@]} > 2)); then
        _biz_options_or_values "$(_biz_help "${words[1]}")"
    else
        # shellcheck disable=SC2046
        _biz_offer "${words[1]}" $(_biz_commands "$(_biz_help)") help --help --version
    fi
}

# A program without commands.
_biz_program() {
    local program words
    COMPREPLY=()
    _biz_join_words
    program=${words[0]/#\~/$HOME}
    _biz_options_or_values "$(_biz_help)"
}

complete -F _biz_console biz_console
complete -F _biz_program biz_simulator biz_monitor
