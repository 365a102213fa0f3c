#include <host/frame_codec.h>

#include <byte_count_p.h>
#include <memory_p.h>
#include <wire/record_bytes_p.h>

namespace biz::host {

static_assert(DemoDatagramCodec::maxPayload == wire::largestUdpPayload - wire::aroundPayload,
              "the largest record fills the largest datagram");

QByteArray DemoDatagramCodec::encode(const model_Protocoldata &record) const
{
    QByteArray datagram;
    const bool isMade = canEncode(record) && memorySuffices([&] { datagram = wire::bytesOf(record); });
    return isMade ? datagram : QByteArray();
}

bool DemoDatagramCodec::canEncode(const model_Protocoldata &record) const
{
    return record.baData.size() <= maxPayload;
}

Decoded DemoDatagramCodec::decode(const QByteArray &bytes)
{
    Decoded decoded;
    wire::takeRecord(bytes, byteCount(bytes), &decoded);
    return decoded;
}

void DemoDatagramCodec::reset()
{
    // Each datagram stands for itself: there is nothing to forget.
}

} // namespace biz::host
