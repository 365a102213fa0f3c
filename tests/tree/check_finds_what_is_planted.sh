#!/usr/bin/env bash
# Plants bad habits in a copy of the sources, all at once; the tree check must name each at its place, and nothing else.
# Arguments: the tree, a folder to work in.
set -euo pipefail

tree=$1
copy=$2/planted
check=$tree/scripts/check-tree

rm -rf "$copy"
mkdir -p "$copy/scripts/lib"
cp -r "$tree"/{src,host,testkit,tools,examples,benchmarks,tests} "$copy"
cp "$tree/scripts/lib/rooms.txt" "$copy/scripts/lib"
"$check" "$copy"

expected=()

# expect WHAT FILE: the check is to say WHAT of FILE.
expect() {
    expected+=("$2"$'\t'"$1")
}

# plant WHAT FILE TEXT: appends TEXT to FILE, of which the check is to say WHAT.
plant() {
    mkdir -p "$(dirname "$copy/$2")"
    printf '%s\n' "$3" >>"$copy/$2"
    expect "$1" "$2"
}

long_function=$(printf 'void tooLong()\n{\n' && printf '    call();\n%.0s' {1..61} && printf '}\n')
plant 'sleeps; every wait of the library' src/manage/biz_manage.cpp 'void f() { std::this_thread::sleep_for(1s); }'
plant 'sleeps; no test waits' tests/support/journal.h 'inline void f() { QThread::msleep(1); }'
plant 'detaches' src/biz_cmdswork/resend.cpp 'void f() { std::thread(g).detach(); }'
plant 'sleeps; wait for a condition' host/src/link/tcp_link.cpp 'void f() { QThread::msleep(1); }'
plant 'detaches' host/src/device/channel/device_loops.cpp 'void f() { std::thread(g).detach(); }'
law='does not allow it'
plant "$law" src/biz_cmdswork/resend.cpp '#include <biz_osd_cmdswork/biz_osd_cmdswork.h>'
plant "$law" src/biz_cmdswork/reply_rules/words.cpp '#include <biz_cmdswork/biz_cmdswork.h>'
plant "$law" host/src/wire/cobs.cpp '#include <commands/command_p.h>'
plant "$law" host/src/timing_p.h '#include <wire/cobs_p.h>'
plant "$law" host/src/osd/channel/osd_loops.cpp '#include <device/channel/device_loops_p.h>'
plant "$law" host/src/device/channel/device_loops.cpp '#include <osd/channel/osd_loops_p.h>'
plant "$law" tools/common/hex.cpp '#include <biz_console/summary/closing_lines.h>'
plant "$law" examples/quick_start/main.cpp '#include <biz_cmdswork/biz_cmdswork.h>'
plant "$law" tests/host/support/wait_for.h '#include <host/device/fake_link.h>'
plant "$law" testkit/src/faults/fault_plan.cpp '#include <devices/answer_p.h>'
plant 'private to its tree' tools/biz_console/main.cpp '#include <biz_cmdswork/resend_p.h>'
plant 'has no line in' host/src/attic/old_p.h '#include <memory>'
plant 'no room of an earlier line' scripts/lib/rooms.txt 'tests/unit/reply_rules tests/unit/nothing'
plant 'there are no sources in' scripts/lib/rooms.txt 'tests/attic -'
plant 'asks for the version of Qt' src/biz_cmdswork/resend.cpp '#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)'
plant 'one more place' tests/support/virtual_time.h "$(printf '#if QT_VERSION > 0\n%.0s' {1..10})"
expect 'one more place' '' # those that stand last, wherever that is
plant 'a function of 61 lines' src/biz_cmdswork/resend.cpp "$long_function"
plant 'unfinished work' src/biz_cmdswork/resend.cpp "// $(echo TO DO | tr -d ' ') later"
plant 'written down' src/biz_cmdswork/resend.cpp "// as $(echo specified), the gate opens"
plant 'path of one machine' src/biz_cmdswork/resend.cpp '// see /ho''me/somebody/notes.txt'
plant 'exempts' tests/support/tsan.supp 'race:^biz::unlocked::''another'
plant 'beyond' tests/support/tsan.supp 'race:^biz::channel::countUp'
touch "$copy"/host/src/loops/more_{1..16}_p.h
expect 'files in one folder' host/src/loops

if output=$("$check" "$copy" 2>&1); then
    echo 'the check finds nothing' >&2
    exit 1
fi
failed=0
for pair in "${expected[@]}"; do
    grep -F -- "${pair%%$'\t'*}" <<<"$output" | grep -qF -- "${pair#*$'\t'}" || {
        echo "not found in ${pair%%$'\t'*}: ${pair#*$'\t'}" >&2
        failed=1
    }
done
# The last line is their number.
while IFS= read -r line; do
    for pair in "${expected[@]}"; do
        [[ $line != *"${pair%%$'\t'*}"*"${pair#*$'\t'}"* ]] || continue 2
    done
    echo "found, but not planted: $line" >&2
    failed=1
done < <(head -n -1 <<<"$output")
[ $failed -eq 0 ] || exit 1
echo "The tree check finds all that was planted."
