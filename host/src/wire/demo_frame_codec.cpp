#include <host/frame_codec.h>

#include <algorithm>
#include <cstring>

#include <byte_count_p.h>
#include <memory_p.h>
#include <wire/cobs_p.h>
#include <wire/record_bytes_p.h>

namespace biz::host {

namespace {

constexpr char delimiter = '\0';
constexpr int delimiterSize = sizeof delimiter;

/** The longest stretch between two delimiters that can be a frame. */
constexpr int longestStretch = cobs::stuffedSizeAtMost(wire::aroundPayload + DemoFrameCodec::maxPayload);

} // namespace

/** Takes the stream apart at its delimiters, and holds the stretch that has not ended yet. */
class DemoFrameCodec::Private
{
public:
    Decoded decode(const QByteArray &bytes);

    int heldBytes() const { return byteCount(m_held); }

private:
    void takeEnd(const char *from, int size, Decoded *decoded);
    void hold(const char *from, int size, Decoded *decoded);
    void takeStretch(const char *stretch, int size, Decoded *decoded) const;
    void refuseHeld(Decoded *decoded);
    void refuse(int bytes, const QString &why, Decoded *decoded);

    QByteArray m_held;
    bool m_isRefused = false; ///< a portion of the present stretch has been refused already
};

Decoded DemoFrameCodec::Private::decode(const QByteArray &bytes)
{
    Decoded decoded;
    const char *at = bytes.constData();
    const char *const end = at + bytes.size();
    while (at != end) {
        const void *found = std::memchr(at, delimiter, static_cast<std::size_t>(end - at));
        if (found == nullptr) {
            hold(at, static_cast<int>(end - at), &decoded);
            break;
        }
        const auto *stretchEnd = static_cast<const char *>(found);
        takeEnd(at, static_cast<int>(stretchEnd - at), &decoded);
        at = stretchEnd + delimiterSize;
    }
    return decoded;
}

/** Takes the last bytes of a stretch: those from here up to its delimiter. */
void DemoFrameCodec::Private::takeEnd(const char *from, int size, Decoded *decoded)
{
    if (m_held.isEmpty() && size <= longestStretch) {
        takeStretch(from, size, decoded); // without a copy: it came in one piece, as most do
        return;
    }
    hold(from, size, decoded);
    if (!m_isRefused) {
        takeStretch(m_held.constData(), byteCount(m_held), decoded);
    } else if (!m_held.isEmpty()) {
        refuseHeld(decoded);
    }
    m_held.clear();
    m_isRefused = false;
}

/** Keeps bytes of a stretch that goes on; a stretch that is longer than every frame is refused in portions. */
void DemoFrameCodec::Private::hold(const char *from, int size, Decoded *decoded)
{
    while (size > 0) {
        if (m_held.size() == longestStretch) {
            refuseHeld(decoded);
        }
        const int part = std::min(size, longestStretch - byteCount(m_held));
        if (!memorySuffices([&] { m_held.append(from, part); })) {
            refuse(byteCount(m_held) + part, noMemoryReason(), decoded);
        }
        from += part;
        size -= part;
    }
}

void DemoFrameCodec::Private::takeStretch(const char *stretch, int size, Decoded *decoded) const
{
    if (size == 0) {
        return; // two delimiters in a row, as a preamble makes them
    }
    std::optional<QByteArray> bytes;
    if (!memorySuffices([&] { bytes = cobs::unstuffed(stretch, size); })) {
        decoded->refusals.append({size, noMemoryReason()});
    } else if (!bytes) {
        decoded->refusals.append({size, QStringLiteral("a COBS block reaches beyond the end of the frame")});
    } else if (bytes->size() > wire::aroundPayload + maxPayload) {
        decoded->refusals.append(
            {size, QStringLiteral("the frame carries more payload than %1 bytes").arg(maxPayload)});
    } else {
        wire::takeRecord(*bytes, size, decoded);
    }
}

void DemoFrameCodec::Private::refuseHeld(Decoded *decoded)
{
    refuse(byteCount(m_held), QStringLiteral("longer than every frame"), decoded);
}

/** What is held, and what should have been: the rest of the stretch is no frame any more. */
void DemoFrameCodec::Private::refuse(int bytes, const QString &why, Decoded *decoded)
{
    decoded->refusals.append({bytes, why});
    m_held.clear();
    m_isRefused = true;
}

DemoFrameCodec::DemoFrameCodec()
    : d(std::make_unique<Private>())
{
}

DemoFrameCodec::~DemoFrameCodec() = default;

QByteArray DemoFrameCodec::encode(const model_Protocoldata &record) const
{
    QByteArray frame;
    const auto make = [&] {
        const QByteArray bytes = wire::bytesOf(record);
        frame.reserve(cobs::stuffedSizeAtMost(byteCount(bytes)) + delimiterSize);
        cobs::appendStuffed(&frame, bytes);
        frame.append(delimiter);
    };
    return canEncode(record) && memorySuffices(make) ? frame : QByteArray();
}

bool DemoFrameCodec::canEncode(const model_Protocoldata &record) const
{
    return record.baData.size() <= maxPayload;
}

Decoded DemoFrameCodec::decode(const QByteArray &bytes)
{
    return d->decode(bytes);
}

void DemoFrameCodec::reset()
{
    d = std::make_unique<Private>();
}

QByteArray DemoFrameCodec::preamble() const
{
    return {delimiterSize, delimiter};
}

int DemoFrameCodec::heldBytes() const
{
    return d->heldBytes();
}

} // namespace biz::host
