#include <biz_cmdswork/reply_rules/models_p.h>

namespace biz::rules {

namespace {

// Deliberate: bytes 3 and 4, not the declared length in bytes 4 and 5; 0 is refused.
constexpr std::array rows = {
    Row{0x68, codes(0x08, 0x09), bytes34FromTo(1, 22)},
};
static_assert(noSubCodeTwice(rows));

constexpr RowIndex<rows> index;

} // namespace

const Table tablePvn410Max = index.table();

} // namespace biz::rules
