#!/usr/bin/env bash
# verify_resume_test.sh TREE WORK_FOLDER: scripts/verify --resume runs again what failed, what another commit is
# about and what was changed since, and nothing else. A part's work is replaced by a line in a journal.
set -euo pipefail

tree=$1
work=$2/clone
rm -rf "$work"
mkdir -p "$work/scripts"
cp -r "$tree/scripts/verify" "$tree/scripts/lib" "$work/scripts"
cd "$work"
export GIT_CONFIG_GLOBAL=/dev/null GIT_CONFIG_SYSTEM=/dev/null
git() {
    command git -c user.name=nobody -c user.email=nobody@localhost.invalid -c commit.gpgsign=false "$@"
}

for check in check-tree check-docs; do
    printf '#!/bin/sh\necho %s >>build/journal\n[ ! -e build/%s-fails ]\n' $check $check >scripts/$check
    chmod +x scripts/$check
done
echo 'build/' >.gitignore
mkdir build
git init -q .
git add -A
git commit -qm 'tree: the first commit'

# expect WHAT STATUS RUN TABLE [OPTION...]: the checks that are run, and the results in the table.
expect() {
    local what=$1 status=$2 run=$3 results=$4 actual=0 output
    shift 4
    : >build/journal
    output=$(scripts/verify --only tree,docs "$@" 2>/dev/null) || actual=$?
    if [ "$actual" != "$status" ] || [ "$(xargs <build/journal)" != "$run" ] ||
        [ "$(awk '/^(tree|docs) / { $NF = ""; print }' <<<"$output" | xargs)" != "$results" ]; then
        printf '%s: exit status %s, ran "%s", and said:\n%s\n' "$what" "$actual" "$(xargs <build/journal)" "$output" >&2
        exit 1
    fi
}

touch build/check-docs-fails
expect 'the first run' 1 'check-tree check-docs' 'tree passed docs FAILED'
expect 'a part that failed' 1 'check-docs' 'tree passed before docs FAILED' --resume
rm build/check-docs-fails
expect 'it is mended' 0 'check-docs' 'tree passed before docs passed' --resume
expect 'nothing is left' 0 '' 'tree passed before docs passed before' --resume
expect 'without the option' 0 'check-tree check-docs' 'tree passed docs passed'
expect 'other seeds' 0 'check-tree check-docs' 'tree passed docs passed' --resume --seeds 5
echo '# changed' >>scripts/check-tree
expect 'a change that is not committed' 0 'check-tree check-docs' 'tree passed docs passed' --resume
expect 'what was not remembered' 0 'check-tree check-docs' 'tree passed docs passed' --resume
git commit -qam 'tree: the second commit'
expect 'another commit' 0 'check-tree check-docs' 'tree passed docs passed' --resume
echo 'A resumed run does what is left to do.'
