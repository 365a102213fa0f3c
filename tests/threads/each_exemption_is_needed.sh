#!/usr/bin/env bash
# Leaves out one exemption after the other; the thread sanitizer must then report a race in the
# function that the exemption names.
#   each_exemption_is_needed.sh EXEMPTIONS FOLDER PROGRAM...
set -euo pipefail

exemptions=$1 folder=$2
shift 2

reports_race_in() {
    local program log=$folder/exemption.log
    for program in "${@:2}"; do
        TSAN_OPTIONS="suppressions=$folder/fewer.supp halt_on_error=0 exitcode=0" "$program" >"$log" 2>&1 || true
        if grep -A12 'WARNING: ThreadSanitizer: data race' "$log" | grep -F "$1" >/dev/null; then
            return 0
        fi
    done
    return 1
}

names=$(sed -n 's/^race:^//p' "$exemptions")
[ -n "$names" ]
for name in $names; do
    grep -vxF "race:^$name" "$exemptions" >"$folder/fewer.supp"
    if ! reports_race_in "$name" "$@"; then
        echo "nothing is reported without the exemption of $name" >&2
        exit 1
    fi
    echo "needed: $name"
done
