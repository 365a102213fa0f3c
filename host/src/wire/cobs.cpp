#include <wire/cobs_p.h>

#include <algorithm>
#include <cstring>

namespace biz::host::cobs {

namespace {

/** How many bytes stand before the first zero, or all when there is none. */
int runWithoutZero(const char *from, int size)
{
    const void *zero = std::memchr(from, 0, static_cast<std::size_t>(size));
    return zero == nullptr ? size : static_cast<int>(static_cast<const char *>(zero) - from);
}

} // namespace

void appendStuffed(QByteArray *to, const QByteArray &plain)
{
    const char *at = plain.constData();
    const char *const end = at + plain.size();
    bool isZeroTaken = true;
    while (isZeroTaken || at != end) {
        const int left = static_cast<int>(std::min<std::ptrdiff_t>(end - at, longestRun));
        const int run = runWithoutZero(at, left);
        to->append(static_cast<char>(run + 1)).append(at, run);
        at += run;
        isZeroTaken = run < left;
        at += isZeroTaken ? 1 : 0;
    }
}

std::optional<QByteArray> unstuffed(const char *stuffed, int size)
{
    QByteArray plain;
    plain.reserve(size);
    for (int at = 0; at < size;) {
        const int block = static_cast<uchar>(stuffed[at]);
        if (block > size - at) {
            return std::nullopt;
        }
        plain.append(stuffed + at + 1, block - 1);
        at += block;
        if (block < longestBlock && at < size) {
            plain.append('\0');
        }
    }
    return plain;
}

} // namespace biz::host::cobs
