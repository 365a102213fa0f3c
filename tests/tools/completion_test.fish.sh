#!/usr/bin/env bash
# completion_test.fish.sh COMPLETION CONSOLE SIMULATOR [MONITOR]: what fish offers for lines that are being
# typed. Ends with 77, which means "skipped", where fish is missing.
set -uo pipefail

command -v fish >/dev/null || { echo "skipped: fish is not installed"; exit 77; }
completion=$(readlink -f "$1")
PATH=$(dirname "$(readlink -f "$2")"):$(dirname "$(readlink -f "$3")"):${4:+$(dirname "$(readlink -f "$4")"):}$PATH
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
export HOME=$scratch LC_ALL=C.UTF-8
touch session.json
failures=0

# expect LINE WORD: it is offered at the end of the line.
expect() {
    local offered
    offered=$(fish -N -c "source '$completion'; complete -C '$1'" 2>&1 | cut -f 1)
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
if [ -n "${4-}" ]; then
    expect 'biz_monitor --so' --socket
    expect 'biz_monitor sess' session.json
fi
echo "$failures lines are not completed as expected."
[ "$failures" -eq 0 ]
