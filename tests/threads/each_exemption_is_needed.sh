#!/usr/bin/env bash
# Leaves out one exemption after the other; the thread sanitizer must then report a race in the
# function, or beneath the library, that the exemption names.
#   each_exemption_is_needed.sh EXEMPTIONS FOLDER PROGRAM...
set -euo pipefail

exemptions=$1 folder=$2
shift 2

# reports_race_in NAME PROGRAM[:TEST]...
reports_race_in() {
    local program filter log=$folder/exemption.log
    for program in "${@:2}"; do
        filter=${program#"${program%%:*}"} filter=${filter#:}
        GTEST_FILTER=${filter:-*} TSAN_OPTIONS="suppressions=$folder/fewer.supp halt_on_error=0 exitcode=0 history_size=7" \
            "${program%%:*}" >"$log" 2>&1 || true
        if grep -A12 'WARNING: ThreadSanitizer: data race' "$log" | grep -F "$1" >/dev/null; then
            return 0
        fi
    done
    return 1
}

# expect_needed LINE NAME PROGRAM...
expect_needed() {
    grep -vxF "$1" "$exemptions" >"$folder/fewer.supp"
    if ! reports_race_in "${@:2}"; then
        echo "nothing is reported without the exemption of $2" >&2
        exit 1
    fi
    echo "needed: $2"
}

names=$(sed -n 's/^race:^//p' "$exemptions")
[ -n "$names" ]
for name in $names; do
    expect_needed "race:^$name" "$name" "$@"
done

# What Qt hands over between threads happens in programs that have an event loop; EVENT_LOOP_TESTS lists PROGRAM:TEST.
# A library that none of these loads is that of the other Qt.
libraries=$(sed -n 's/^called_from_lib://p' "$exemptions")
[ -n "$libraries" ]
for test in ${EVENT_LOOP_TESTS:-}; do
    used=no
    for library in $libraries; do
        ldd "${test%%:*}" | grep -F "$library" >/dev/null || continue
        used=yes
    done
    [ "$used" = yes ] || { echo "${test%%:*} loads none of them" >&2 && exit 1; }
done
for library in $libraries; do
    programs=()
    for test in ${EVENT_LOOP_TESTS:-}; do
        ! ldd "${test%%:*}" | grep -F "$library" >/dev/null || programs+=("$test")
    done
    [ "${#programs[@]}" -eq 0 ] || expect_needed "called_from_lib:$library" "$library" "${programs[@]}"
done
