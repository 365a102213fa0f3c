#ifndef BIZ_HOST_COBS_P_H
#define BIZ_HOST_COBS_P_H

#include <optional>

#include <QtCore/QByteArray>

/**
 * Consistent overhead byte stuffing: bytes of any value become bytes without a zero, so that a zero can end them.
 *
 * The stuffed bytes are blocks. The first byte of a block is its length, itself included; the others are
 * plain bytes. Each block stands for its plain bytes and a zero behind them, but for two cases without the
 * zero: the last block, and a block of the greatest length.
 */
namespace biz::host::cobs {

constexpr int longestBlock = 0xFF;
constexpr int longestRun = longestBlock - 1; ///< plain bytes that one block can carry

/** The largest number of bytes that so many plain bytes are stuffed into. */
constexpr int stuffedSizeAtMost(int plainSize)
{
    return plainSize + plainSize / longestRun + 1;
}

/** Appends the stuffed form of the plain bytes. */
void appendStuffed(QByteArray *to, const QByteArray &plain);

/** The plain bytes; none when a block reaches beyond the end. There must be no zero among the stuffed bytes. */
std::optional<QByteArray> unstuffed(const char *stuffed, int size);

} // namespace biz::host::cobs

#endif
