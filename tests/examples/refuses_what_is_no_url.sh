#!/usr/bin/env bash
# refuses_what_is_no_url.sh PROGRAM
# What names no link is refused in one line that says what was expected, with exit status 1.
set -euo pipefail

program=$1
for argument in 127.0.0.1:15700 localhost device '' tcp://:15700 tcp://127.0.0.1:99999; do
    status=0
    output=$(timeout 20 "$program" "$argument" 2>&1) || status=$?
    if [ "$status" -ne 1 ] || [ "$(wc -l <<<"$output")" -ne 1 ] || [[ $output != *expected*tcp://HOST* ]]; then
        echo "'$argument' ended with $status: $output"
        exit 1
    fi
done
echo "Every argument that names no link is refused."
