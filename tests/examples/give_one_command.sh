#!/usr/bin/env bash
# give_one_command.sh WORKER [ARGUMENT...]
# Gives a worker one command on its standard input and prints what it says, until the command has ended.
set -euo pipefail

coproc WORKER { "$@"; }
worker=$WORKER_PID
exec {input}>&"${WORKER[1]}" {output}<&"${WORKER[0]}"
exec {WORKER[1]}>&-

echo '{"do":"command","id":"greeting","head":"F1 12 00 00 00 00","waitMs":5000}' >&"$input"
while IFS= read -r line; do
    echo "$line"
    case $line in
    *'"event":"answered"'* | *'"event":"gaveUp"'* | *'"event":"error"'*) break ;;
    esac
done <&"$output"

# The end of its input is its end.
exec {input}>&-
cat <&"$output"
wait "$worker"
