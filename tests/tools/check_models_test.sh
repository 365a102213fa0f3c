#!/usr/bin/env bash
# check_models_test.sh TREE WORK_FOLDER: a console that knows one model more finds every place that lacks it.
set -euo pipefail

mkdir -p "$2"
console=$2/console_with_another_model
printf '#!/bin/sh\necho "one of the models A2, A1MAX, A3, PVN410MAX, K250, PVN410MAX2, A5, A7 expected, not $2" >&2\nexit 2\n' \
    >"$console"
chmod +x "$console"
if output=$("$1/scripts/check-models" "$console" 2>&1); then
    echo "A7 is missed nowhere" >&2
    exit 1
fi
for place in biz_console.1 biz_simulator.1 biz_tools.bash biz_tools.fish biz_tools.zsh gateway.schema.json docs/tools.md \
    bench.py docs/reply_rules.md rules_a7.sh sessions/a7.json reply_rules_a7.tsv; do
    [[ $output == *"$place"* ]] || { echo "A7 is not missed in $place: $output" >&2 && exit 1; }
done
echo "The check of the models finds what is missing."
