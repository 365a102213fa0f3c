#ifndef BIZ_HOST_FRAME_BYTES_P_H
#define BIZ_HOST_FRAME_BYTES_P_H

#include <QtCore/QByteArray>

/** What the formats of both channels have in common: numbers and the check value. */
namespace biz::host::wire {

constexpr int crcSize = 2;

/** The largest payload of a UDP datagram over IPv4: 65,535 less 20 bytes of IP head and 8 of UDP. */
constexpr int largestUdpPayload = 65535 - 20 - 8;

/** The 16-bit number at `at`, low byte first. */
inline quint16 numberAt(const QByteArray &bytes, int at)
{
    return static_cast<quint16>(static_cast<uchar>(bytes[at]) | static_cast<uchar>(bytes[at + 1]) << 8U);
}

/** Appends a 16-bit number, low byte first. */
inline void appendNumber(QByteArray *bytes, int number)
{
    bytes->append(static_cast<char>(number & 0xFF));
    bytes->append(static_cast<char>(number >> 8 & 0xFF));
}

/** The check value of the bytes from `from` up to, not including, `to`. */
inline quint16 crcOf(const QByteArray &bytes, int from, int to)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    return qChecksum(bytes.constData() + from, static_cast<uint>(to - from), Qt::ChecksumIso3309);
#else
    return qChecksum(QByteArrayView(bytes).sliced(from, to - from), Qt::ChecksumIso3309);
#endif
}

} // namespace biz::host::wire

#endif
