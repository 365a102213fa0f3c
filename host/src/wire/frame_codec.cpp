#include <host/frame_codec.h>

namespace biz::host {

FrameCodec::~FrameCodec() = default;

bool FrameCodec::canEncode(const model_Protocoldata &record) const
{
    return !encode(record).isEmpty();
}

QByteArray FrameCodec::preamble() const
{
    return {};
}

} // namespace biz::host
