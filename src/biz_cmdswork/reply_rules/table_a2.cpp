#include <biz_cmdswork/reply_rules/models_p.h>

namespace biz::rules {

namespace {

// A2, and PVN410MAX2, which has no rule in the one row that names both.
constexpr std::array rows = {
    Row{0x68, codes(0x12, 0x13, 0x15, 0x23), indexAtMost(15)},
    Row{0x68, codes(0x14), indexAtMostOrAll(15)},
    Row{0x68, codes(0x18, 0x19), indexAtMost(17)},
    Row{0x68, codes(0x28, 0x29), byte5AtMost(15)}, // deliberate: byte 5, not the index
    Row{0x6A, codes(0x09, 0x0B), indexAtMost(3)},
    Row{0x71, codes(0x05, 0x06, 0x09, 0x0C, 0x0D), indexAtMost(15)},
    Row{0x71, codes(0x00, 0x01, 0x03), allOf(indexAtMost(15), byte4FromTo(1, 10))},
    Row{0x76, everyCode(), indexNotFromTo(0x20, 0x23)},
    Row{0x77, codes(0x21, 0x23, 0x24, 0x25) | codesFromTo(0x27, 0x33) | codesFromTo(0x40, 0x43), indexAtMost(15)},
    Row{0x78, codes(0x24, 0x25), indexAtMost(15)},
    Row{0x79, codes(0x0E, 0x11), lengthIs(9)},
    Row{0x79, codes(0x0C), allOf(indexAtMost(3), byte4AtMost(15))},
    Row{0x7D, codes(0x00, 0x01), indexAtMost(15)},
    Row{0x86, codesFromTo(0x00, 0x0F) | codes(0x14, 0x15), indexAtMostOrAll(15)},
    Row{0x8E, codes(0x27), lengthIs(5)},
    Row{0x9A, codes(0x80), indexAtMost(15)},
    Row{0xF0, codes(0x01, 0x08, 0x09, 0x11, 0x17, 0x1A), indexAtMost(15)},
    Row{0xF1, codes(0x00, 0x06), allOf(indexAtMost(15), lengthIs(22))},
    Row{0xF1, codes(0x03), lengthIs(33)},
    Row{0xF1, codes(0x04, 0x0D, 0x14), lengthIs(17)},
    Row{0xF1, codes(0x05), lengthIs(129)},
    Row{0xF1, codes(0x07), lengthIs(7)},
    Row{0xF1, codes(0x08), allOf(indexAtMost(15), lengthIs(354))},
    Row{0xF1, codes(0x09), allOf(indexAtMost(15), lengthIs(29))},
    Row{0xF1, codes(0x0A), allOf(indexAtMost(3), lengthIs(29))},
    Row{0xF1, codes(0x0B), allOf(indexAtMost(15), lengthIs(11))},
    Row{0xF1, codes(0x0C, 0x23), indexAtMost(15)},
    Row{0xF1, codes(0x0E), lengthIs(10)},
    Row{0xF1, codes(0x0F), allOf(indexAtMostOrAll(15), lengthIs(28))},
    Row{0xF1, codes(0x11, 0x17, 0x1A), allOf(indexAtMost(15), lengthIs(17))},
    Row{0xF1, codes(0x12), lengthIs(5)},
    Row{0xF1, codes(0x16), lengthIs(129)},
    Row{0xF1, codes(0x18), allOf(indexAtMost(3), lengthIs(25)), noRule},
    Row{0xF1, codes(0x19), allOf(indexAtMost(15), lengthIs(8))},
    Row{0xF1, codes(0x21), allOf(indexAtMost(15), lengthIs(23))},
};
static_assert(noSubCodeTwice(rows));

constexpr RowIndex<rows> index;

} // namespace

const Table tableA2 = index.table();

} // namespace biz::rules
