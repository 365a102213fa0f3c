#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include <host/frame_codec.h>

namespace {

using biz::host::Decoded;
using biz::host::DemoFrameCodec;
using biz::host::Refusal;

constexpr int frameAround = 13; // marker, head, length and CRC
constexpr int largestFrame = frameAround + DemoFrameCodec::maxPayload;

/** A stream made from a seed: frames, garbage, false starts, damaged and cut frames. */
class RandomStream
{
public:
    explicit RandomStream(unsigned seed)
        : m_random(seed)
    {
    }

    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(m_random); }

    /** Few values, so that halves of markers and small lengths are frequent. */
    QByteArray garbage(int size)
    {
        static constexpr char frequent[] = {'\xA5', '\x5A', '\x00', '\x01'};
        QByteArray made;
        for (int i = 0; i < size; ++i) {
            made.append(below(2) == 0 ? frequent[below(4)] : static_cast<char>(below(256)));
        }
        return made;
    }

    QByteArray frame()
    {
        model_Protocoldata record;
        for (unsigned char &byte : record.ucHead) {
            byte = static_cast<unsigned char>(below(256));
        }
        record.baData = garbage(below(40));
        return DemoFrameCodec().encode(record);
    }

    QByteArray falseStart()
    {
        return QByteArray("\xA5\x5A", 2) + garbage(7) + static_cast<char>(below(256)) + static_cast<char>(below(3));
    }

    /** Appends the next part, and notes the frame when it is a sound one. */
    void appendPart(QByteArray *stream, QVector<QByteArray> *frames)
    {
        const QByteArray whole = frame();
        switch (below(5)) {
        case 0:
            stream->append(garbage(below(60)));
            break;
        case 1:
            stream->append(falseStart());
            break;
        case 2:
            stream->append(whole.left(below(whole.size())));
            break;
        default:
            stream->append(whole);
            frames->append(whole);
        }
    }

private:
    std::mt19937 m_random;
};

/** Whether the start at `begin` is a sound frame that ends at `end`. */
bool isSoundFrame(const QByteArray &bytes, int begin, int end)
{
    const auto number = [&bytes](int at) {
        return static_cast<uchar>(bytes[at]) + 256 * static_cast<uchar>(bytes[at + 1]);
    };
    return number(begin + 9) == end - begin - frameAround &&
           number(end - 2) ==
               qChecksum(bytes.constData() + begin + 2, static_cast<uint>(end - begin - 4), Qt::ChecksumIso3309);
}

/** The frames of a stream by the rule alone: of all that may have started, the first to end. */
QVector<QByteArray> framesByRule(const QByteArray &bytes)
{
    QVector<int> starts;
    for (int at = bytes.indexOf("\xA5\x5A"); at >= 0; at = bytes.indexOf("\xA5\x5A", at + 1)) {
        starts.append(at);
    }
    QVector<QByteArray> frames;
    int consumed = 0;
    for (int end = frameAround; end <= bytes.size(); ++end) {
        for (const int begin : qAsConst(starts)) {
            if (begin >= consumed && begin <= end - frameAround && isSoundFrame(bytes, begin, end)) {
                frames.append(bytes.mid(begin, end - begin));
                consumed = end;
            }
        }
    }
    return frames;
}

QVector<QByteArray> framesOf(const Decoded &decoded)
{
    QVector<QByteArray> frames;
    for (const model_Protocoldata &record : decoded.records) {
        frames.append(DemoFrameCodec().encode(record));
    }
    return frames;
}

int refusedBytes(const Decoded &decoded)
{
    int sum = 0;
    for (const Refusal &refusal : decoded.refusals) {
        EXPECT_GT(refusal.bytes, 0);
        EXPECT_FALSE(refusal.reason.isEmpty());
        sum += refusal.bytes;
    }
    return sum;
}

/** Feeds a stream in random pieces; every byte is accounted for after each of them. */
Decoded decodeInPieces(const QByteArray &bytes, RandomStream *random)
{
    DemoFrameCodec codec;
    Decoded all;
    int given = 0;
    int accounted = 0;
    while (given < bytes.size()) {
        const int size = std::min(1 + random->below(50), bytes.size() - given);
        const Decoded decoded = codec.decode(bytes.mid(given, size));
        given += size;
        accounted += refusedBytes(decoded);
        for (const model_Protocoldata &record : decoded.records) {
            accounted += frameAround + record.baData.size();
        }
        EXPECT_EQ(accounted + codec.heldBytes(), given);
        EXPECT_LT(codec.heldBytes(), largestFrame);
        all.records += decoded.records;
        all.refusals += decoded.refusals;
    }
    return all;
}

} // namespace

TEST(FrameCodecRandom, EverySoundFrameIsFoundHoweverTheStreamWasSplit)
{
    constexpr unsigned streams = 10000;
    // One false start in 65,536 passes the CRC by chance, and may hide a frame that was sent.
    constexpr unsigned accidentsAtMost = 10;
    unsigned accidents = 0;
    for (unsigned seed = 1; seed <= streams; ++seed) {
        RandomStream random(seed);
        QByteArray bytes;
        QVector<QByteArray> sent;
        for (int parts = 1 + random.below(12); parts > 0; --parts) {
            random.appendPart(&bytes, &sent);
        }

        const QVector<QByteArray> expected = framesByRule(bytes);
        accidents += expected == sent ? 0 : 1;
        EXPECT_EQ(framesOf(decodeInPieces(bytes, &random)), expected);
        EXPECT_EQ(framesOf(DemoFrameCodec().decode(bytes)), expected);

        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
    }
    EXPECT_LE(accidents, accidentsAtMost);
}

TEST(FrameCodecRandom, PureGarbageIsSurvivedAndAccountedFor)
{
    constexpr unsigned streams = 500;
    for (unsigned seed = 1; seed <= streams; ++seed) {
        RandomStream random(seed);
        decodeInPieces(random.garbage(random.below(4000)), &random);
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
    }
}
