#!/usr/bin/env bash
# completion_offered_test.sh SHELL COMPLETION CONSOLE SIMULATOR [MONITOR]: what fish offers for lines that are being
# typed, or what zsh is given to offer. Ends with 77, which means "skipped", where the shell is missing.
set -uo pipefail

shell=$1
command -v "$shell" >/dev/null || { echo "skipped: $shell is not installed"; exit 77; }
completion=$(readlink -f "$2")
PATH=$(dirname "$(readlink -f "$3")"):$(dirname "$(readlink -f "$4")"):${5:+$(dirname "$(readlink -f "$5")"):}$PATH
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
export HOME=$scratch LC_ALL=C.UTF-8
touch session.json
failures=0

offered_by_fish() {
    fish -N -c "source '$completion'; complete -C '$1'" 2>&1 | cut -f 1
}

# The functions of the completion system write down what they are given.
offered_by_zsh() {
    zsh -f -c '
        compadd() { while [[ $1 != -- ]]; do shift; done; shift; print -l -- "$@" }
        _files() { print -l -- * }
        source "$1"
        words=("${(@s: :)2}")
        CURRENT=${#words}
        _biz_tools' zsh "$completion" "$1" 2>&1
}

# expect LINE WORD: it is offered at the end of the line.
expect() {
    local offered
    offered=$("offered_by_$shell" "$1")
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
expect 'biz_console run sess' session.json
expect 'biz_console run session.json --record sess' session.json
expect 'biz_console rules ' A1MAX
expect 'biz_console show a.jsonl --event rej' rejected
expect 'biz_simulator --model ' PVN410MAX2
expect 'biz_simulator --outage' --outage-for
if [ -n "${5-}" ]; then
    expect 'biz_monitor --so' --socket
    expect 'biz_monitor sess' session.json
fi
echo "$failures lines are not completed as expected."
[ "$failures" -eq 0 ]
