#include <host/frame_codec.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <iterator>
#include <queue>
#include <utility>
#include <vector>

#include <wire/frame_bytes_p.h>
#include <wire/running_crc_p.h>

namespace biz::host {

namespace {

constexpr char marker[wire::markerSize] = {'\xA5', '\x5A'};
constexpr int headSize = sizeof(model_Protocoldata::ucHead);
constexpr int lengthAt = wire::markerSize + headSize;
constexpr int payloadAt = lengthAt + wire::lengthSize;
constexpr int smallestFrame = payloadAt + wire::crcSize;
constexpr int largestFrame = smallestFrame + DemoFrameCodec::maxPayload;
static_assert(largestFrame < 1 << crc::zeroMapCount, "the CRC of the longest frame must be within reach");

QByteArray frameOf(const model_Protocoldata &record)
{
    QByteArray frame;
    frame.reserve(smallestFrame + record.baData.size());
    frame.append(marker, wire::markerSize);
    frame.append(reinterpret_cast<const char *>(record.ucHead), headSize);
    wire::appendNumber(&frame, record.baData.size());
    frame.append(record.baData);
    wire::appendNumber(&frame, wire::crcOf(frame, wire::markerSize, frame.size()));
    return frame;
}

model_Protocoldata recordAt(const QByteArray &bytes, int at, int frameSize)
{
    model_Protocoldata record;
    std::copy_n(bytes.cbegin() + at + wire::markerSize, headSize, std::begin(record.ucHead));
    record.baData = bytes.mid(at + payloadAt, frameSize - smallestFrame);
    return record;
}

/** A place where a frame may start. Positions count from the first byte of the stream. */
struct Start
{
    qint64 begin;
    qint64 end; ///< where its length field says that it ends
    crc::Register beforeHead;
    bool crcWrong = false;

    int frameSize() const { return static_cast<int>(end - begin); }
};

/** A start in the order in which frames become complete: of two with one end, the longer first. */
struct Completion
{
    qint64 end;
    quint64 number; ///< of the start, counted from the first of the stream

    bool operator>(const Completion &other) const { return end != other.end ? end > other.end : number > other.number; }
};

} // namespace

/**
 * One pass notes every start whose length field is there, a second one, up to the end of
 * each frame in the order of their ends, tests their CRCs. Bytes before the first start
 * that may still become a frame are refused and dropped.
 */
class DemoFrameCodec::Private
{
public:
    Decoded decode(const QByteArray &bytes);

    int heldBytes() const { return m_buffer.size(); }

private:
    /** The CRC register after all bytes before `position`. */
    struct Pass
    {
        qint64 position = 0;
        crc::Register crc = 0;
    };

    int indexOf(qint64 position) const { return static_cast<int>(position - m_base); }
    qint64 streamEnd() const { return m_base + m_buffer.size(); }
    void advance(Pass *pass, qint64 position) const;
    bool markerAt(qint64 position) const;
    void noteStarts();
    void takeCompleteFrames();
    bool isSound(const Start &start);
    void takeFrame(const Start &start);
    void refuseUpTo(qint64 position);
    void refuse(qint64 from, qint64 to, const QString &reason);
    QString whyRefused(const Start &start) const;
    qint64 firstHope() const;
    void forgetStarts(qint64 before);
    void dropConsumed();

    QByteArray m_buffer;
    qint64 m_base = 0;     ///< position of the first byte of the buffer
    qint64 m_consumed = 0; ///< position behind the last byte that was taken or refused
    Pass m_noting;
    Pass m_testing;
    std::deque<Start> m_starts;
    quint64 m_firstNumber = 0; ///< of the first of m_starts
    std::priority_queue<Completion, std::vector<Completion>, std::greater<>> m_completions;
    Decoded m_decoded;
};

Decoded DemoFrameCodec::Private::decode(const QByteArray &bytes)
{
    // In slices, since what is decoded does not depend on them and the memory taken does.
    for (int at = 0; at < bytes.size(); at += largestFrame) {
        m_buffer.append(bytes.mid(at, largestFrame));
        noteStarts();
        takeCompleteFrames();
        refuseUpTo(firstHope());
        dropConsumed();
    }
    return std::exchange(m_decoded, {});
}

void DemoFrameCodec::Private::advance(Pass *pass, qint64 position) const
{
    const char *bytes = m_buffer.constData();
    const int end = indexOf(position);
    for (int at = indexOf(pass->position); at < end; ++at) {
        pass->crc = crc::advanced(pass->crc, bytes[at]);
    }
    pass->position = std::max(pass->position, position);
}

/** Whether a marker stands at a position, or its first half at the end of what was received. */
bool DemoFrameCodec::Private::markerAt(qint64 position) const
{
    const int at = indexOf(position);
    return m_buffer[at] == marker[0] && (at + 1 == m_buffer.size() || m_buffer[at + 1] == marker[1]);
}

void DemoFrameCodec::Private::noteStarts()
{
    const qint64 last = streamEnd() - payloadAt;
    while (m_noting.position <= last) {
        const qint64 begin = m_noting.position;
        if (!markerAt(begin)) {
            advance(&m_noting, begin + 1);
            continue;
        }
        const qint64 end = begin + smallestFrame + wire::numberAt(m_buffer, indexOf(begin) + lengthAt);
        // The second half of a marker cannot begin another one.
        advance(&m_noting, begin + wire::markerSize);
        m_completions.push({end, m_firstNumber + m_starts.size()});
        m_starts.push_back({begin, end, m_noting.crc});
    }
}

void DemoFrameCodec::Private::takeCompleteFrames()
{
    while (!m_completions.empty() && m_completions.top().end <= streamEnd()) {
        const quint64 number = m_completions.top().number;
        m_completions.pop();
        if (number < m_firstNumber) {
            continue; // its bytes went with a frame that was complete before it
        }
        Start &start = m_starts[static_cast<std::size_t>(number - m_firstNumber)];
        if (isSound(start)) {
            takeFrame(start);
        } else {
            start.crcWrong = true;
        }
    }
}

bool DemoFrameCodec::Private::isSound(const Start &start)
{
    const qint64 crcAt = start.end - wire::crcSize;
    advance(&m_testing, crcAt);
    const int covered = start.frameSize() - wire::markerSize - wire::crcSize;
    return crc::between(start.beforeHead, m_testing.crc, covered) == wire::numberAt(m_buffer, indexOf(crcAt));
}

void DemoFrameCodec::Private::takeFrame(const Start &start)
{
    const qint64 end = start.end;
    m_decoded.records.append(recordAt(m_buffer, indexOf(start.begin), start.frameSize()));
    refuseUpTo(start.begin);
    forgetStarts(end);
    m_consumed = end;
}

/** Refuses everything not consumed before a position, a refusal for each start in it. */
void DemoFrameCodec::Private::refuseUpTo(qint64 position)
{
    qint64 from = m_consumed;
    QString reason = QStringLiteral("no frame starts here");
    for (const Start &start : m_starts) {
        if (start.begin >= position) {
            break;
        }
        refuse(from, start.begin, reason);
        from = start.begin;
        reason = whyRefused(start);
    }
    refuse(from, position, reason);
    forgetStarts(position);
    m_consumed = position;
}

void DemoFrameCodec::Private::refuse(qint64 from, qint64 to, const QString &reason)
{
    if (from < to) {
        m_decoded.refusals.append({static_cast<int>(to - from), reason});
    }
}

QString DemoFrameCodec::Private::whyRefused(const Start &start) const
{
    const int declared = start.frameSize() - smallestFrame;
    if (start.crcWrong) {
        return QStringLiteral("CRC does not match, with a declared payload of %1 bytes").arg(declared);
    }
    return QStringLiteral("declares a payload of %1 bytes, but a whole frame came sooner").arg(declared);
}

/** Where the first frame that is still possible would start. */
qint64 DemoFrameCodec::Private::firstHope() const
{
    for (const Start &start : m_starts) {
        if (!start.crcWrong) {
            return start.begin;
        }
    }
    qint64 position = std::max(m_consumed, m_noting.position);
    while (position < streamEnd() && !markerAt(position)) {
        ++position;
    }
    return position;
}

void DemoFrameCodec::Private::forgetStarts(qint64 before)
{
    while (!m_starts.empty() && m_starts.front().begin < before) {
        m_starts.pop_front();
        ++m_firstNumber;
    }
}

void DemoFrameCodec::Private::dropConsumed()
{
    advance(&m_noting, m_consumed);
    advance(&m_testing, m_consumed);
    m_buffer.remove(0, indexOf(m_consumed));
    m_base = m_consumed;
}

FrameCodec::~FrameCodec() = default;

DemoFrameCodec::DemoFrameCodec()
    : d(std::make_unique<Private>())
{
}

DemoFrameCodec::~DemoFrameCodec() = default;

QByteArray DemoFrameCodec::encode(const model_Protocoldata &record) const
{
    if (record.baData.size() > maxPayload) {
        return {};
    }
    const QByteArray frame = frameOf(record);
    const bool mayHoldAnother = frame.indexOf(QByteArray(marker, wire::markerSize), wire::markerSize) >= 0;
    // A frame within the frame would be complete first, and be taken in its place.
    return mayHoldAnother && !Private().decode(frame).refusals.isEmpty() ? QByteArray() : frame;
}

Decoded DemoFrameCodec::decode(const QByteArray &bytes)
{
    return d->decode(bytes);
}

void DemoFrameCodec::reset()
{
    d = std::make_unique<Private>();
}

int DemoFrameCodec::heldBytes() const
{
    return d->heldBytes();
}

} // namespace biz::host
