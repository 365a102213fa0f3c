#compdef biz_console biz_simulator biz_monitor
# Completion of biz_console, biz_simulator and biz_monitor for zsh: commands, options, and the values of options.
# Installed as _biz_tools, and as _biz_monitor with the monitor, where zsh looks for such files; `source` works as well, behind compinit.
#
# What there is to complete is read from the --help of the program that is being typed, so that the
# two cannot disagree. What an option takes is told by its name in the help, `--script <FILE>`.

_biz_models=(A2 A1MAX A3 PVN410MAX K250 PVN410MAX2 A5)

# _biz_tools_value KIND HELP: what an option with a value of this name takes.
_biz_tools_value() {
    local -a events
    case ${1:l} in
    *file* | script | name) _files ;;
    folder | dir*) _files -/ ;;
    event)
        # The help tells them: "Events: sent, resent."
        events=(${(s:, :)"$(tr -s ' \n' ' ' <<<"$2" | sed -nE 's/.*Events: ([^.]*)\..*/\1/p')"})
        compadd -- $events
        ;;
    model) compadd -M 'm:{a-z}={A-Z}' -- $_biz_models ;;
    esac
}

_biz_tools() {
    local program=${(e)words[1]} verb= help line kind=
    local -a commands options
    [[ ${program:t} == biz_console ]] && verb=${words[2]}
    if [[ ${program:t} == biz_console && $CURRENT -eq 3 && $verb == help ]] ||
        [[ ${program:t} == biz_console && $CURRENT -eq 2 ]]; then
        commands=(${(f)"$(LC_ALL=C $program --help 2>/dev/null </dev/null |
            sed -nE '/^Commands:/,/^$/s/^  ([a-z]+) .*/\1/p')"} help --help --version)
        compadd -- $commands
        return
    fi
    help=$(LC_ALL=C $program ${verb:+"$verb"} --help 2>/dev/null </dev/null)
    for line in ${(f)"$(sed -nE 's/^  (-[a-zA-Z], )?(--[a-z-]+)( <([^>]*)>)?.*/\2 \4/p' <<<"$help")"}; do
        options+=(${line%% *})
        [[ ${line%% *} == ${words[CURRENT - 1]} ]] && kind=${line#* }
    done
    if [[ -n $kind ]]; then
        _biz_tools_value $kind "$help"
    elif [[ ${words[CURRENT]} == -* ]]; then
        compadd -- $options
    elif [[ ${${(f)help}[1]} == *' MODEL'* ]]; then
        _biz_tools_value model
    else
        _files
    fi
}

# In a file that is loaded by its name the whole file is the function.
if [[ $zsh_eval_context[-1] == loadautofunc ]]; then
    _biz_tools "$@"
else
    (( $+functions[compdef] )) && compdef _biz_tools biz_console biz_simulator biz_monitor
fi
