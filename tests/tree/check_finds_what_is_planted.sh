#!/usr/bin/env bash
# Plants one bad habit after the other in a copy of the sources; the tree check must name each.
# Arguments: the tree, a folder to work in.
set -euo pipefail

tree=$1
copy=$2/planted
check=$tree/scripts/check-tree

fresh_copy() {
    rm -rf "$copy"
    mkdir -p "$copy/scripts/lib"
    cp -r "$tree"/{src,host,testkit,tools,examples,benchmarks,tests} "$copy"
    cp "$tree/scripts/lib/rooms.txt" "$copy/scripts/lib"
}

# expect_finding WHAT FILE TEXT: after TEXT is appended to FILE, the check fails and says WHAT.
expect_finding() {
    local what=$1 file=$2 text=$3
    mkdir -p "$(dirname "$copy/$file")"
    printf '%s\n' "$text" >>"$copy/$file"
    expect_finding_in_copy "$what" "$file"
    rm "$copy/$file"
    [ ! -e "$tree/$file" ] || cp "$tree/$file" "$copy/$file"
}

# expect_finding_in_copy WHAT PLACE
expect_finding_in_copy() {
    local what=$1 file=$2 output
    if output=$("$check" "$copy" 2>&1); then
        echo "not found: $what" >&2
        exit 1
    fi
    if [[ $output != *"$file"*"$what"* ]]; then
        echo "found something else than '$what' in $file: $output" >&2
        exit 1
    fi
}

fresh_copy
"$check" "$copy"

long_function=$(printf 'void tooLong()\n{\n' && printf '    call();\n%.0s' {1..61} && printf '}\n')
expect_finding 'sleeps' src/manage/biz_manage.cpp 'void f() { std::this_thread::sleep_for(1s); }'
expect_finding 'no test waits' tests/support/journal.h 'inline void f() { QThread::msleep(1); }'
expect_finding 'detaches' src/biz_cmdswork/resend.cpp 'void f() { std::thread(g).detach(); }'
expect_finding 'sleeps' host/src/link/tcp_link.cpp 'void f() { QThread::msleep(1); }'
expect_finding 'detaches' host/src/device/device_loops.cpp 'void f() { std::thread(g).detach(); }'
law='does not allow it'
expect_finding "$law" src/biz_cmdswork/resend.cpp '#include <biz_osd_cmdswork/biz_osd_cmdswork.h>'
expect_finding "$law" src/biz_cmdswork/reply_rules/words.cpp '#include <biz_cmdswork/biz_cmdswork.h>'
expect_finding "$law" host/src/wire/cobs.cpp '#include <commands/command_p.h>'
expect_finding "$law" host/src/timing_p.h '#include <wire/cobs_p.h>'
expect_finding "$law" host/src/osd/osd_loops.cpp '#include <device/device_loops_p.h>'
expect_finding "$law" host/src/device/device_loops.cpp '#include <osd/osd_loops_p.h>'
expect_finding "$law" tools/common/hex.cpp '#include <biz_console/summary/closing_lines.h>'
expect_finding "$law" examples/quick_start/main.cpp '#include <biz_cmdswork/biz_cmdswork.h>'
expect_finding "$law" tests/host/support/wait_for.h '#include <host/device/fake_link.h>'
expect_finding 'private to its tree' tools/biz_console/main.cpp '#include <biz_cmdswork/resend_p.h>'
expect_finding 'has no line in' host/src/attic/old_p.h '#include <memory>'
expect_finding 'no room of an earlier line' scripts/lib/rooms.txt 'tests/unit/reply_rules tests/unit/nothing'
expect_finding 'there are no sources in' scripts/lib/rooms.txt 'tests/attic -'
expect_finding "$law" testkit/src/faults/fault_plan.cpp '#include <devices/answer_p.h>'
fresh_copy
touch "$copy"/host/src/loops/more_{1..16}_p.h
expect_finding_in_copy 'files in one folder' host/src/loops
expect_finding 'asks for the version of Qt' src/biz_cmdswork/resend.cpp '#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)'
expect_finding 'one more place' tests/support/virtual_time.h "$(printf '#if QT_VERSION > 0\n%.0s' {1..10})"
expect_finding 'a function of 61 lines' src/biz_cmdswork/resend.cpp "$long_function"
expect_finding 'unfinished work' src/biz_cmdswork/resend.cpp "// $(echo TO DO | tr -d ' ') later"
expect_finding 'written down' src/biz_cmdswork/resend.cpp "// as $(echo specified), the gate opens"
expect_finding 'path of one machine' src/biz_cmdswork/resend.cpp '// see /ho''me/somebody/notes.txt'
expect_finding 'exempts' tests/support/tsan.supp 'race:^biz::unlocked::''another'
expect_finding 'beyond' tests/support/tsan.supp 'race:^biz::channel::countUp'
touch "$copy"/host/src/loops/more_{1..16}_p.h
expect_finding_in_copy 'files in one folder' host/src/loops
echo "The tree check finds all that was planted."
