#!/usr/bin/env bash
# Runs a program many times, several at once so that they disturb each other, and fails unless all
# runs of a seed print the same and two seeds do not.
#
#   same_seed_same_trace.sh PROGRAM TIMES
set -euo pipefail

program=$1
times=$2
distinct=$(seq "$times" | xargs -P 4 -I{} "$program" 7 2>/dev/null | sort -u | wc -l)
if [ "$distinct" -ne 1 ]; then
    echo "$distinct traces in $times runs of one seed" >&2
    exit 1
fi
[ "$("$program" 7 2>/dev/null)" != "$("$program" 8 2>/dev/null)" ] || { echo "two seeds gave one trace" >&2; exit 1; }
echo "$times runs, one trace"
