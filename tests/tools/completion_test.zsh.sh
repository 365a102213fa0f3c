#!/usr/bin/env bash
# completion_test.zsh.sh COMPLETION CONSOLE SIMULATOR [MONITOR]: what zsh is given to offer for lines that
# are being typed. Ends with 77, which means "skipped", where zsh is missing.
set -uo pipefail

command -v zsh >/dev/null || { echo "skipped: zsh is not installed"; exit 77; }
completion=$(readlink -f "$1")
PATH=$(dirname "$(readlink -f "$2")"):$(dirname "$(readlink -f "$3")"):${4:+$(dirname "$(readlink -f "$4")"):}$PATH
failures=0

# expect LINE WORD: it is among what is given for the last word of the line; files are "FILES".
expect() {
    local offered
    # The functions of the completion system write down what they are given.
    offered=$(zsh -f -c '
        compadd() { while [[ $1 != -- ]]; do shift; done; shift; print -l -- "$@" }
        _files() { print FILES }
        source "$1"
        words=("${(@s: :)2}")
        CURRENT=${#words}
        _biz_tools' zsh "$completion" "$1" 2>&1)
    if ! grep -qxF -e "$2" <<<"$offered"; then
        echo "'$1' does not offer '$2' but: $(tr '\n' ' ' <<<"$offered")"
        failures=$((failures + 1))
    fi
}

expect 'biz_console ' run
expect 'biz_console ' help
expect 'biz_console help sh' show
expect 'biz_console sh' show
expect 'biz_console run --tr' --trace
expect 'biz_console run ' FILES
expect 'biz_console run session.json --record ' FILES
expect 'biz_console rules ' A1MAX
expect 'biz_console show a.jsonl --event ' rejected
expect 'biz_simulator --model ' PVN410MAX2
expect 'biz_simulator --outage' --outage-for
if [ -n "${4-}" ]; then
    expect 'biz_monitor --so' --socket
    expect 'biz_monitor sess' FILES
fi
echo "$failures lines are not completed as expected."
[ "$failures" -eq 0 ]
