# Completion of biz_console, biz_simulator and biz_monitor for fish: commands, options, and the values of options.
# Installed under the name of each program, where fish looks for it.
#
# What there is to complete is read from the --help of the program that is being typed, so that the
# two cannot disagree. What an option takes is told by its name in the help, `--script <FILE>`.

function __biz_tools_help
    set -l words (commandline -opc)
    set -l verb
    if string match -q '*biz_console' -- $words[1]; and test (count $words) -gt 1
        set verb $words[2]
    end
    LC_ALL=C $words[1] $verb --help 2>/dev/null </dev/null
end

# Each option, and behind a blank the name of its value.
function __biz_tools_options
    __biz_tools_help | string replace -rf '^  (?:-[a-zA-Z], )?(--[a-z-]+)(?: <([^>]*)>)?.*' '$1 $2'
end

function __biz_tools_commands
    set -l words (commandline -opc)
    LC_ALL=C $words[1] --help 2>/dev/null </dev/null | string replace -rf '^  ([a-z]+) .*  +(.*)$' '$1\t$2'
end

function __biz_tools_needs_command
    set -l words (commandline -opc)
    test (count $words) -eq 1; or begin
        test (count $words) -eq 2; and test $words[2] = help
    end
end

# The name of the value that the option before the cursor takes.
function __biz_tools_kind
    set -l words (commandline -opc)
    __biz_tools_options | string replace -rf -- '^'(string escape --style=regex -- $words[-1])' (.+)$' '$1'
end

function __biz_tools_models
    printf '%s\n' A2 A1MAX A3 PVN410MAX K250 PVN410MAX2 A5
end

# The help tells them: "Events: sent, resent."
function __biz_tools_events
    string join ' ' (__biz_tools_help) | string replace -ra ' +' ' ' |
        string replace -rf '.*Events: ([^.]*)\..*' '$1' | string split ', '
end

function __biz_tools_candidates
    set -l kind (string lower -- (__biz_tools_kind))
    switch "$kind"
        case '*file*' script name
            __fish_complete_path (commandline -ct)
        case folder 'dir*'
            __fish_complete_directories (commandline -ct)
        case event
            __biz_tools_events
        case model
            __biz_tools_models
        case ''
            __biz_tools_options | string replace -r ' .*' ''
            if __biz_tools_help | head -n 1 | string match -q '* MODEL*'
                __biz_tools_models
            else
                __fish_complete_path (commandline -ct)
            end
    end
end

complete -c biz_console -f
complete -c biz_console -f -n __biz_tools_needs_command -a '(__biz_tools_commands) help'
complete -c biz_console -f -n 'not __biz_tools_needs_command' -a '(__biz_tools_candidates)'
complete -c biz_simulator -f -a '(__biz_tools_candidates)'
complete -c biz_monitor -f -a '(__biz_tools_candidates)'
