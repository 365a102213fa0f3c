#!/usr/bin/env bash
# Plants one fault after the other in a copy of the tree; the check of the documents must name each.
# Arguments: the tree, a folder to work in.
set -euo pipefail

tree=$1
copy=$2/planted

rm -rf "$copy"
mkdir -p "$copy"
tar -C "$tree" --exclude='./build*' --exclude=./.git --exclude=./out -cf - . | tar -C "$copy" -xf -
"$copy/scripts/check-docs"

# expect_finding WHAT: the check fails and says WHAT.
expect_finding() {
    local output
    if output=$("$copy/scripts/check-docs" 2>&1); then
        echo "not found: $1" >&2
        exit 1
    fi
    if [[ $output != *"$1"* ]]; then
        echo "found something else than '$1': $output" >&2
        exit 1
    fi
}

# expect_finding_in_document WHAT LINE...: after these lines are appended to a document.
expect_finding_in_document() {
    local document=$copy/docs/timing.md what=$1
    shift
    cp "$document" "$copy.document"
    printf '%s\n' '' "$@" >>"$document"
    expect_finding "$what"
    cp "$copy.document" "$document"
}

expect_finding_in_document 'a console block needs the comment' '```console' '$ biz_console --version' '```'
expect_finding_in_document 'a code block without a kind' '```' 'anything' '```'
expect_finding_in_document 'a block of cpp needs the comment' '```cpp' 'int x = 1;' '```'
expect_finding_in_document 'a prompt stands in a console block only' '```text' '$ biz_console --version' '```'
expect_finding_in_document 'docs/transcripts/no_such.sh is missing' '<!-- transcript: no_such -->' '```console' '```'
expect_finding_in_document 'stands in two places' '<!-- transcript: timing_rate -->' '```console' '```'
expect_finding_in_document 'differs from' '<!-- file: examples/quick_start/quick_start.pro -->' '```qmake' 'QT = gui' '```'
expect_finding_in_document 'leads nowhere' '[a page](no_such_page.md)'
expect_finding_in_document 'has no heading for' '[a part](timing.md#no-such-part)'

touch "$copy/docs/transcripts/shown_nowhere.sh"
expect_finding 'no document shows it'
rm "$copy/docs/transcripts/shown_nowhere.sh"

echo '// changed' >>"$copy/docs/diagrams/osd_command.dot"
expect_finding 'is not drawn from'
