#!/usr/bin/env bash
# commit_msg_test.sh TREE WORK_FOLDER: the commit-msg hook takes good messages and names what is wrong in bad ones.
set -euo pipefail

hook=$1/scripts/commit-msg
mkdir -p "$2"
file=$2/message

fail() {
    printf '%s\nThe message was:\n%s\n' "$*" "$(cat "$file")" >&2
    exit 1
}

# accepts LINE...
accepts() {
    local output
    printf '%s\n' "$@" >"$file"
    output=$("$hook" "$file" 2>&1) || fail "refused: $output"
}

# refuses WHAT LINE...: and says WHAT.
refuses() {
    local what=$1 output
    shift
    printf '%s\n' "$@" >"$file"
    ! output=$("$hook" "$file" 2>&1) || fail "taken, although $what"
    [[ $output == *"$what"* ]] || fail "refused for something else than '$what': $output"
}

why='A link that is silent for longer than that is broken.'
letters=$(printf 'a%.0s' {1..66})

accepts 'host: links end after a minute of silence' '' "$why"
accepts 'docs/testing: one table' '' "$why" '' 'Signed-off-by: A <a@b.invalid>'
accepts 'host, tools: one word for one thing' '' "$why"
accepts "host: $letters" '' "$why"
accepts 'host: links end' '' "$why" '# a comment' '# ------------------------ >8 ------------------------' 'diff'
accepts 'fixup! host: links end after a minute of silence'
accepts "Merge branch 'main' into lines"
accepts 'Revert "host: links end"' '' 'This reverts commit 0123456.'

refuses 'not "area: statement"' 'Links end after a minute of silence' '' "$why"
refuses 'not "area: statement"' 'Host: links end' '' "$why"
refuses 'not "area: statement"' 'host links end: always' '' "$why"
refuses 'not "area: statement"' 'host: ' '' "$why"
refuses 'not "area: statement"' '# host: links end' '' "$why"
refuses 'has 73 characters' "host: ${letters}b" '' "$why"
refuses 'full stop' 'host: links end.' '' "$why"
refuses 'not blank' 'host: links end' "$why"
refuses 'no body' 'host: links end'
refuses 'no body' 'host: links end' '' 'Signed-off-by: A <a@b.invalid>'
refuses 'no body' 'host: links end' '' '# A comment is no body.'
echo 'The hook takes what it should, and nothing else.'
