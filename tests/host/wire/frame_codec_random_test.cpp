#include <algorithm>
#include <random>

#include <QtCore/QList>

#include <gtest/gtest.h>

#include <host/frame_codec.h>

namespace {

using biz::host::Decoded;
using biz::host::DemoDatagramCodec;
using biz::host::DemoFrameCodec;
using biz::host::Refusal;

/** Records, and streams of them with damage, made from a seed. */
class Random
{
public:
    explicit Random(unsigned seed)
        : m_random(seed)
    {
    }

    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(m_random); }

    /** Zeros are frequent in some, and absent in others. */
    QByteArray bytes(int size)
    {
        const int zeroInOf = 1 + below(300);
        QByteArray made;
        for (int i = 0; i < size; ++i) {
            made.append(static_cast<char>(below(zeroInOf) == 0 ? 0 : 1 + below(255)));
        }
        return made;
    }

    model_Protocoldata record(int payloadBelow)
    {
        model_Protocoldata made;
        const QByteArray head = bytes(sizeof(made.ucHead));
        std::copy(head.cbegin(), head.cend(), std::begin(made.ucHead));
        made.baData = bytes(below(payloadBelow));
        return made;
    }

private:
    std::mt19937 m_random;
};

bool isSame(const model_Protocoldata &left, const model_Protocoldata &right)
{
    return std::equal(std::begin(left.ucHead), std::end(left.ucHead), std::begin(right.ucHead)) &&
           left.baData == right.baData;
}

bool isSame(const QVector<model_Protocoldata> &left, const QVector<model_Protocoldata> &right)
{
    return std::equal(left.cbegin(), left.cend(), right.cbegin(), right.cend(),
                      [](const auto &one, const auto &other) { return isSame(one, other); });
}

QVector<int> refusedSizes(const Decoded &decoded)
{
    QVector<int> sizes;
    for (const Refusal &refusal : decoded.refusals) {
        EXPECT_FALSE(refusal.reason.isEmpty());
        sizes.append(refusal.bytes);
    }
    return sizes;
}

/** A stream, and what must be found in it. */
struct DamagedStream
{
    QByteArray bytes;
    QVector<model_Protocoldata> sound;

    /** Appends a sound frame, a cut one or noise. Damage of ten bytes or fewer cannot hold a frame. */
    void appendPart(Random &random)
    {
        constexpr int tooFewForAFrame = 10;
        const model_Protocoldata record = random.record(600);
        const QByteArray frame = DemoFrameCodec().encode(record);
        switch (random.below(4)) {
        case 0:
            bytes += frame.left(random.below(tooFewForAFrame)) + '\0';
            break;
        case 1:
            bytes += random.bytes(random.below(tooFewForAFrame)) + '\0';
            break;
        default:
            bytes += frame;
            sound.append(record);
        }
    }
};

/** Feeds a stream in random pieces. */
Decoded decodeInPieces(const QByteArray &bytes, Random &random)
{
    DemoFrameCodec codec;
    Decoded all;
    for (int at = 0; at < bytes.size();) {
        const int size = 1 + random.below(700);
        const Decoded decoded = codec.decode(bytes.mid(at, size));
        all.records += decoded.records;
        all.refusals += decoded.refusals;
        at += size;
    }
    return all;
}

} // namespace

TEST(FrameCodecRandom, EveryRecordComesBackInAFrameAndInADatagram)
{
    constexpr unsigned seeds = 3000;
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        Random random(seed);
        const model_Protocoldata record = random.record(random.below(20) == 0 ? DemoDatagramCodec::maxPayload : 1200);

        const Decoded fromFrame = DemoFrameCodec().decode(DemoFrameCodec().encode(record));
        const Decoded fromDatagram = DemoDatagramCodec().decode(DemoDatagramCodec().encode(record));

        EXPECT_TRUE(isSame(fromFrame.records, {record})) << "seed " << seed;
        EXPECT_TRUE(isSame(fromDatagram.records, {record})) << "seed " << seed;
    }
}

TEST(FrameCodecRandom, EverySoundFrameIsFoundHoweverTheStreamWasDamagedAndSplit)
{
    constexpr unsigned seeds = 2000;
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        Random random(seed);
        DamagedStream stream;
        for (int parts = 1 + random.below(12); parts > 0; --parts) {
            stream.appendPart(random);
        }

        const Decoded whole = DemoFrameCodec().decode(stream.bytes);
        const Decoded pieces = decodeInPieces(stream.bytes, random);

        EXPECT_TRUE(isSame(whole.records, stream.sound)) << "seed " << seed;
        EXPECT_TRUE(isSame(pieces.records, stream.sound)) << "seed " << seed;
        EXPECT_EQ(refusedSizes(pieces), refusedSizes(whole)) << "seed " << seed;
    }
}

TEST(FrameCodecRandom, OfPureNoiseEachStretchIsOneRefusal)
{
    constexpr unsigned seeds = 500;
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        Random random(seed);
        const QByteArray noise = random.bytes(random.below(4000)) + '\0';
        QVector<int> stretches;
        for (const QByteArray &stretch : noise.split('\0')) {
            if (!stretch.isEmpty()) {
                stretches.append(static_cast<int>(stretch.size()));
            }
        }
        EXPECT_EQ(refusedSizes(decodeInPieces(noise, random)), stretches) << "seed " << seed;
    }
}
