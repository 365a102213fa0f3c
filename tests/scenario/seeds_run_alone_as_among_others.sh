#!/usr/bin/env bash
# A seed makes the same choices and brings about the same signals in a process of its own as behind
# other seeds, or a failure that is found at night could not be repeated in the morning.
#
#   seeds_run_alone_as_among_others.sh BIZ_SCENARIO
set -euo pipefail

scenario=$1
last=47 # four runs of each class

among_others=$("$scenario" --first 0 --count $((last + 1)) --fingerprints | grep '^seed')
alone=$(for seed in $(seq 0 $last); do "$scenario" --seed "$seed" --fingerprints | grep '^seed'; done)

different=$(cut -d ' ' -f 3 <<<"$among_others" | sort -u | wc -l)
if [ "$different" != $((last + 1)) ]; then
    echo "expected a fingerprint of its own for each of $((last + 1)) seeds, got $different"
    exit 1
fi
diff <(echo "$among_others") <(echo "$alone")
