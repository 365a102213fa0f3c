#include <biz_cmdswork/reply_rules/models_p.h>

namespace biz::rules {

namespace {

// Where a row has two rules, the first is A3's and the second A5's. Commands 0x78 and
// 0x79, which A2 checks, have no rules in these models.
constexpr std::array rows = {
    Row{0x68, codes(0x12, 0x13, 0x15, 0x23), indexAtMost(15)},
    Row{0x68, codes(0x14), indexAtMostOrAll(15)},
    Row{0x68, codes(0x18, 0x19), indexAtMost(17)},
    Row{0x68, codes(0x28, 0x29), byte5AtMost(15)}, // deliberate: byte 5, not the index
    Row{0x6A, codes(0x09), indexAtMost(3), indexAtMost(7)},
    Row{0x6A, codes(0x0B), indexAtMost(1), indexAtMost(7)},
    Row{0x71, codes(0x05, 0x06, 0x09, 0x0C, 0x0D), indexAtMost(15), indexAtMost(31)},
    Row{0x71, codes(0x00, 0x01, 0x03), allOf(indexAtMost(15), byte4FromTo(1, 10)),
        allOf(indexAtMost(31), byte4FromTo(1, 10))},
    Row{0x76, everyCode(), indexNotFromTo(0x20, 0x23)},
    Row{0x77, codes(0x21, 0x23, 0x24, 0x25) | codesFromTo(0x27, 0x33) | codesFromTo(0x40, 0x43), indexAtMost(15),
        indexAtMost(31)},
    Row{0x7D, codes(0x00, 0x01), indexAtMost(7), indexAtMost(31)},
    Row{0x86, codesFromTo(0x00, 0x0F) | codes(0x14, 0x15), indexAtMostOrAll(7), indexAtMostOrAll(31)},
    Row{0x8E, codes(0x27), lengthIs(5)},
    Row{0x9A, codes(0x80), indexAtMost(15), indexAtMost(31)},
    Row{0xF0, codes(0x01), indexAtMost(15), indexAtMost(63)},
    Row{0xF0, codes(0x08, 0x17, 0x1A), indexAtMost(15)},
    Row{0xF0, codes(0x09), indexAtMost(15), indexAtMost(31)},
    Row{0xF0, codes(0x11), indexAtMost(7), indexAtMost(31)},
    Row{0xF1, codes(0x00, 0x06), allOf(indexAtMost(15), lengthIs(22)), allOf(indexAtMost(63), lengthIs(22))},
    Row{0xF1, codes(0x03), lengthIs(33), lengthIs(65)},
    Row{0xF1, codes(0x04), lengthAtLeast(9), lengthAtLeast(33)},
    Row{0xF1, codes(0x05), lengthIs(65), lengthIsOrDeclares(257, 289)},
    Row{0xF1, codes(0x07), lengthIs(7), lengthIs(11)},
    Row{0xF1, codes(0x08), allOf(indexAtMost(15), lengthIs(354)),
        allOf(indexAtMost(15), lengthIsOrDeclares(1362, 1457))},
    Row{0xF1, codes(0x09), allOf(indexAtMost(15), lengthFromTo(29, 30)), allOf(indexAtMost(31), lengthFromTo(29, 30))},
    Row{0xF1, codes(0x0A), allOf(indexAtMost(3), lengthIs(29)), allOf(indexAtMost(7), lengthIs(29))},
    Row{0xF1, codes(0x0B), allOf(indexAtMost(15), lengthIs(11)), allOf(indexAtMost(31), lengthIs(11))},
    Row{0xF1, codes(0x0C), indexAtMost(15), indexAtMost(31)},
    Row{0xF1, codes(0x0D, 0x14), lengthIs(9), lengthIs(33)},
    Row{0xF1, codes(0x0E), lengthIs(10)},
    Row{0xF1, codes(0x0F), allOf(indexAtMostOrAll(7), lengthIs(28)), allOf(indexAtMostOrAll(31), lengthIs(28))},
    Row{0xF1, codes(0x11), allOf(indexAtMost(7), lengthIs(17)), allOf(indexAtMost(31), lengthIs(17))},
    Row{0xF1, codes(0x12), lengthIs(5), lengthIs(17)},
    Row{0xF1, codes(0x16), lengthIs(65), lengthIs(257)},
    Row{0xF1, codes(0x17, 0x1A), allOf(indexAtMost(15), lengthIs(17)), allOf(indexAtMost(15), lengthIs(65))},
    Row{0xF1, codes(0x18), allOf(indexAtMost(3), lengthIsOrDeclares(25, 15)),
        allOf(indexAtMost(7), lengthIsOrDeclares(28, 15, 25))},
    Row{0xF1, codes(0x19), allOf(indexAtMost(15), lengthIs(8)), allOf(indexAtMost(31), lengthIs(8))},
};
static_assert(noSubCodeTwice(rows));

constexpr RowIndex<rows> index;

} // namespace

const Table tableA3A5 = index.table();

} // namespace biz::rules
