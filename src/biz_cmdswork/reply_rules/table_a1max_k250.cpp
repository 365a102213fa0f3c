#include <biz_cmdswork/reply_rules/models_p.h>

namespace biz::rules {

namespace {

// A1MAX, and K250, which has no rule in the one row that names both. The payload is never
// looked at. The lists of sub-codes are exact: a neighbour of a listed code has no rule.
constexpr std::array rows = {
    Row{0x68, codes(0x08, 0x09, 0x15), indexAtMost(35)},
    Row{0x68, codes(0x19), indexAtMost(2)},
    Row{0x69, codes(0x07, 0x09, 0x0A) | codesFromTo(0x0D, 0x11) | codesFromTo(0x20, 0x25), indexFromTo(1, 3)},
    Row{0x6B, codes(0x00, 0x01), indexZeroOrTwo()},
    Row{0x6B, codes(0x02, 0x03), indexAtMost(1)},
    Row{0x72, codes(0x00, 0x01), byte4AtMost(7)},
    Row{0x72, codes(0x30, 0x31), indexAtMostOrByte4IsOrByte5Set(1, 2)},
    Row{0x73, codes(0x01), indexAtMost(1), noRule},
    Row{0x74, codes(0x18, 0x19, 0x28, 0x29), byte4AtMost(1)},
    Row{0x74, codes(0x22, 0x23, 0x26, 0x27), byte4AtMost(3)},
    Row{0x74, codes(0x30, 0x31), byte4AtMost(6)},
    Row{0x74, codesFromTo(0x32, 0x35), byte4AtMost(7)},
    Row{0x74, codes(0x36, 0x37), byte4AtMost(8)},
    Row{0x74, codesFromTo(0x3C, 0x41), indexAtMost(3)},
    Row{0x74, codes(0x42, 0x43), indexZeroOrTwo()},
    Row{0x74, codes(0x46, 0x47), indexAtMost(5)},
    Row{0x74, codes(0x4A, 0x4B), indexAtMost(1)},
    Row{0x75, codes(0x00, 0x01), byte4AtMostOrIs(2, 4)}, // deliberate: not 3
    Row{0x75, codes(0x14, 0x15), byte4AtMost(3)},
    Row{0x75, codes(0x1A, 0x1B), byte4AtMost(2)},
    Row{0x75, codes(0x20, 0x21), byte4AtMost(12)},
    Row{0x86, codesFromTo(0x00, 0x0F) | codes(0x14, 0x15), indexAtMost(3)},
};
static_assert(noSubCodeTwice(rows));

constexpr RowIndex<rows> index;

} // namespace

const Table tableA1MaxK250 = index.table();

} // namespace biz::rules
