#!/usr/bin/env bash
# Plants faults in a copy of the tree, all at once; the check of the documents must name each, and nothing else.
# Arguments: the tree, a folder to work in.
set -euo pipefail

tree=$1
copy=$2/planted
document=$copy/docs/timing.md

rm -rf "$copy"
mkdir -p "$copy"
tar -C "$tree" --exclude='./build*' --exclude=./.git --exclude=./out -cf - . | tar -C "$copy" -xf -

expected=()

# plant WHAT LINE...: these lines are appended to a document, of which the check is to say WHAT.
plant() {
    expected+=("$1")
    shift
    printf '%s\n' '' "$@" >>"$document"
}

plant 'a console block needs the comment' '```console' '$ biz_console --version' '```'
plant 'a code block without a kind' '```' 'anything' '```'
plant 'a block of cpp needs the comment' '```cpp' 'int x = 1;' '```'
plant 'a prompt stands in a console block only' '```text' '$ biz_console --version' '```'
plant 'docs/transcripts/no_such.sh is missing' '<!-- transcript: no_such -->' '```console' '```'
plant 'stands in two places' '<!-- transcript: timing_rate -->' '```console' '```'
plant 'differs from' '<!-- file: examples/quick_start/quick_start.pro -->' '```qmake' 'QT = gui' '```'
plant 'does not stand in' '<!-- excerpt: examples/quick_start/main.cpp -->' '```cpp' 'int nothing_of_the_kind;' '```'
plant 'no code block stands under' '<!-- file: examples/quick_start/main.cpp -->'
plant 'leads nowhere' '[a page](no_such_page.md)'
plant 'has no heading for' '[a part](timing.md#no-such-part)'

expected+=('no document shows it')
touch "$copy/docs/transcripts/shown_nowhere.sh"

expected+=('is not drawn from')
echo '// changed' >>"$copy/docs/diagrams/osd_command.dot"

expected+=('does not name src/platform/planted.cpp' 'names no_such.cpp')
touch "$copy/src/platform/planted.cpp"
printf '%s\n' '' 'There is no `no_such.cpp`.' >>"$copy/docs/architecture.md"

expected+=('there is no src/no_such.cpp' 'there is no file src/no_such.cpp' 'does not mention noSuchName' 'there is no test NoSuch.Test')
expected+=('"Without code" names no place' '"Without a test" names neither')
cat >>"$copy/docs/deliberate.md" <<'END'

### Of a file that is missing

- In code: `src/no_such.cpp` `name`, `src/platform/sleep_p.h` `noSuchName`
- Test: `NoSuch.Test`

### Without code

- Proved by reading: nothing.

### Without a test

- In code: `src/platform/sleep_p.h` `nanosleep`
END

# plant_name WHAT PATTERN LINE FILE: LINE follows the line that PATTERN names in FILE.
plant_name() {
    expected+=("does not name the $1 planted")
    sed -i "s|^ *$2.*|&\\n$3|" "$copy/$4"
}

plant_name counter '{"bytesIn", ' '    {"planted", \&Counters::planted},' host/include/host/counters.h
plant_name 'kind of link' '{"udp", ' '    {"planted", "planted://HOST", makePlanted},' host/src/link/link_factory.cpp
plant_name 'command of the console' '{"log", ' '    {"planted", "", "plants", runPlanted},' tools/biz_console/main.cpp
plant_name fault 'Blackout, ' '    Planted,' testkit/include/testkit/fault_kind.h

if output=$("$copy/scripts/check-docs" 2>&1); then
    echo 'the check finds nothing' >&2
    exit 1
fi
for what in "${expected[@]}"; do
    found=$(grep -cF -- "$what" <<<"$output") || true
    if [ "$found" -ne 1 ]; then
        echo "found $found times: $what" >&2
        failed=yes
    fi
done
if [[ $output != *"in ${#expected[@]} places."* ]]; then
    echo "planted are ${#expected[@]} faults" >&2
    failed=yes
fi
[ -z "${failed:-}" ] || {
    echo "$output" >&2
    exit 1
}
