#include <host/osd_datagram_codec.h>

#include <algorithm>
#include <iterator>

#include <byte_count_p.h>
#include <memory_p.h>
#include <wire/frame_bytes_p.h>

namespace biz::host {

namespace {

constexpr char marker[] = {'\xA5', '\x0D'};
constexpr int markerSize = sizeof marker;
constexpr int lengthSize = 2;
constexpr int headSize = sizeof(model_OsdParam::ucOsdHead);
constexpr int flagAt = markerSize + headSize;
constexpr int lengthAt = flagAt + 1;
constexpr int payloadAt = lengthAt + lengthSize;
constexpr int smallest = payloadAt + wire::crcSize;

static_assert(smallest + OsdDatagramCodec::maxPayload <= wire::largestUdpPayload, "a full datagram must be sendable");

/** What is wrong with a datagram; empty when it is sound. */
QString problemOf(const QByteArray &datagram)
{
    if (datagram.size() < smallest) {
        return QStringLiteral("datagram has %1 bytes, needs at least %2").arg(datagram.size()).arg(smallest);
    }
    if (!datagram.startsWith(QByteArray(marker, markerSize))) {
        return QStringLiteral("datagram does not start with A5 0D");
    }
    const int declared = wire::numberAt(datagram, lengthAt);
    const int carried = byteCount(datagram) - smallest;
    if (declared != carried) {
        return QStringLiteral("datagram declares %1 payload bytes and carries %2").arg(declared).arg(carried);
    }
    const int crcAt = byteCount(datagram) - wire::crcSize;
    if (wire::numberAt(datagram, crcAt) != wire::crcOf(datagram, markerSize, crcAt)) {
        return QStringLiteral("CRC does not match");
    }
    return {};
}

} // namespace

QByteArray OsdDatagramCodec::encode(const model_OsdParam &record)
{
    QByteArray datagram;
    if (record.baData.size() > maxPayload ||
        !memorySuffices([&] { datagram.reserve(smallest + record.baData.size()); })) {
        return {};
    }
    datagram.append(marker, markerSize);
    datagram.append(reinterpret_cast<const char *>(record.ucOsdHead), headSize);
    datagram.append(static_cast<char>(record.ucOsdFlag));
    wire::appendNumber(&datagram, byteCount(record.baData));
    datagram.append(record.baData);
    wire::appendNumber(&datagram, wire::crcOf(datagram, markerSize, byteCount(datagram)));
    return datagram;
}

bool OsdDatagramCodec::decode(const QByteArray &datagram, model_OsdParam *record, QString *reason)
{
    const QString problem = problemOf(datagram);
    if (!problem.isEmpty()) {
        *reason = problem;
        return false;
    }
    QByteArray payload;
    if (!memorySuffices([&] { payload = datagram.mid(payloadAt, datagram.size() - smallest); })) {
        *reason = noMemoryReason();
        return false;
    }
    std::copy_n(datagram.cbegin() + markerSize, headSize, std::begin(record->ucOsdHead));
    record->ucOsdFlag = static_cast<quint8>(datagram[flagAt]);
    record->baData = payload;
    return true;
}

} // namespace biz::host
