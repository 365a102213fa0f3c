#!/usr/bin/env bash
# completion_test.sh COMPLETION CONSOLE SIMULATOR [MONITOR]: what bash offers for lines that are being typed.
# Prints each claim that does not hold, with what was offered, and fails if there is any.
set -uo pipefail

# shellcheck source=/dev/null
source "$1"
console=$2
simulator=$3
monitor=${4-}
export LC_ALL=C
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
mkdir logs
touch session.json script.json

failures=0
claims=0

# offered LINE: what is offered at its end. Words are split where readline splits them.
offered() {
    local line=${1/#biz_console/"$console"}
    line=${line/#biz_simulator/"$simulator"}
    line=${line/#biz_monitor/"$monitor"}
    local split
    split=$(sed -E 's/([=:])/ \1 /g' <<<"$line")
    read -ra COMP_WORDS <<<"$split"
    [[ $line == *' ' ]] && COMP_WORDS+=('')
    [[ $line == *[=:] ]] && COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    case $1 in
    biz_console*) _biz_console ;;
    *) _biz_program ;;
    esac
    ((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}" | sort
}

# expect LINE WORDS: exactly these are offered.
expect() {
    local actual wanted
    claims=$((claims + 1))
    actual=$(offered "$1" | tr '\n' ' ')
    wanted=$(tr ' ' '\n' <<<"$2" | sed '/^$/d' | sort | tr '\n' ' ')
    if [ "$actual" != "$wanted" ]; then
        echo "'$1' offers: $actual"
        echo "    expected: $wanted"
        failures=$((failures + 1))
    fi
}

# The words behind "expected one of" in the refusal of a command line.
expected_words() {
    "$@" 2>&1 | sed -nE 's/.*one of (the models )?([A-Za-z0-9, ]*[A-Za-z0-9])( expected.*)?$/\2/p' | tr -d ',' | sed 's/ or / /'
}

# The options that a help prints, short ones included.
printed_options() {
    "$@" --help | sed -nE '/^Options:/,$s/^  (-.*)/\1/p' | sed -E 's/(<|  ).*//' | tr -d ',' | tr '\n' ' '
}

commands=$("$console" --help | awk '/^Commands:/ { inside = 1; next } /^$/ { inside = 0 } inside { print $1 }' | tr '\n' ' ')
models=$(expected_words "$simulator" --model none)
faults=$(expected_words "$simulator" --model A2 --fault 1=none)
[ "$(wc -w <<<"$commands")" -ge 5 ] || { echo "the console's commands were not found: $commands"; exit 1; }
[[ " $models " == *" PVN410MAX2 "* ]] || { echo "the models were not found: $models"; exit 1; }
[ "$(wc -w <<<"$faults")" -ge 7 ] || { echo "the faults were not found: $faults"; exit 1; }

# Every option that a help prints is offered, and no other.
for command in $commands; do
    expect "biz_console $command -" "$(printed_options "$console" "$command")"
done
expect "biz_simulator -" "$(printed_options "$simulator")"

expect "biz_console " "$commands help --help --version"
expect "biz_console ru" "run rules"
expect "biz_console --v" "--version"
expect "biz_console help " "$commands"
expect "biz_console help ru" "run rules"
expect "biz_console run --tr" "--trace"
expect "biz_console run " "session.json script.json logs"
expect "biz_console run sess" "session.json"
expect "biz_console run session.json --log-dir " "logs"
expect "biz_console run session.json --log-dir=l" "logs"
expect "biz_console run session.json --device tcp:" ""
expect "biz_console run session.json --record se" "session.json"
expect "biz_console replay sc" "script.json"
expect "biz_console rules " "$models"
expect "biz_console check a" "A2 A1MAX A3 A5"
expect "biz_console check A2 --file s" "session.json script.json"
expect "biz_console show a.jsonl --event su" "superseded summary"
expect "biz_console show a.jsonl --event=rej" "rejected"
expect "biz_simulator --model " "$models"
expect "biz_simulator --model=PVN" "PVN410MAX PVN410MAX2"
expect "biz_simulator --model A2 --script sc" "script.json"
expect "biz_simulator --fault F1/08=" "$faults"
expect "biz_simulator --fault F1/08=dup" "duplicate"
expect "biz_simulator --fault=F1/08=dup" "duplicate"
expect "biz_simulator --fault-rate l" "late="
expect "biz_simulator --port " ""
if [ -n "$monitor" ]; then
    expect "biz_monitor -" "$(printed_options "$monitor")"
    expect "biz_monitor --so" "--socket"
    expect "biz_monitor --socket lo" "logs"
    expect "biz_monitor sess" "session.json"
fi

echo "$((claims - failures)) of $claims lines are completed as expected."
[ "$failures" -eq 0 ]
