#include <algorithm>
#include <ctime>
#include <iterator>
#include <numeric>
#include <random>

#include <gtest/gtest.h>

#include <host/frame_codec.h>
#include <wire/running_crc_p.h>

namespace {

using biz::host::Decoded;
using biz::host::DemoFrameCodec;
using biz::host::Refusal;

constexpr int frameAround = 13; // marker, head, length and CRC
constexpr int largestFrame = frameAround + DemoFrameCodec::maxPayload;

model_Protocoldata record(const QByteArray &head, const QByteArray &payload)
{
    model_Protocoldata made;
    std::copy_n(head.cbegin(), std::min<int>(head.size(), sizeof(made.ucHead)), std::begin(made.ucHead));
    made.baData = payload;
    return made;
}

model_Protocoldata reply(const QByteArray &payload = QByteArray("payload"))
{
    return record(QByteArray("\x2A\xF1\x08\x03\x62\x01\x00", 7), payload);
}

QByteArray bytesOf(const model_Protocoldata &made)
{
    return DemoFrameCodec().encode(made);
}

/** A frame start that claims more payload than ever comes. */
QByteArray falseStart(int claimed)
{
    QByteArray bytes("\xA5\x5A", 2);
    bytes.append(QByteArray(7, '\x11'));
    bytes.append(static_cast<char>(claimed & 0xFF)).append(static_cast<char>(claimed >> 8));
    return bytes;
}

QByteArray withBrokenCrc(QByteArray frame)
{
    frame[frame.size() - 1] = static_cast<char>(frame.back() ^ 0x01);
    return frame;
}

int refusedBytes(const Decoded &decoded)
{
    return std::accumulate(decoded.refusals.cbegin(), decoded.refusals.cend(), 0,
                           [](int sum, const Refusal &refusal) { return sum + refusal.bytes; });
}

QVector<QByteArray> payloads(const Decoded &decoded)
{
    QVector<QByteArray> found;
    for (const model_Protocoldata &made : decoded.records) {
        found.append(made.baData);
    }
    return found;
}

void append(Decoded *all, const Decoded &more)
{
    all->records += more.records;
    all->refusals += more.refusals;
}

/** Decodes a stream that arrives in pieces, and checks what must hold after each of them. */
class Stream
{
public:
    void feed(const QByteArray &bytes)
    {
        const Decoded decoded = m_codec.decode(bytes);
        append(&all, decoded);
        m_refused += refusedBytes(decoded);
        m_given += bytes.size();
        for (const model_Protocoldata &made : decoded.records) {
            m_framed += frameAround + made.baData.size();
        }
        EXPECT_EQ(m_given, m_framed + m_refused + m_codec.heldBytes());
        EXPECT_LT(m_codec.heldBytes(), largestFrame);
    }

    void feedByteByByte(const QByteArray &bytes)
    {
        for (const char byte : bytes) {
            feed(QByteArray(1, byte));
        }
    }

    int held() const { return m_codec.heldBytes(); }

    Decoded all;

private:
    DemoFrameCodec m_codec;
    int m_given = 0;
    int m_refused = 0;
    int m_framed = 0;
};

} // namespace

TEST(FrameCodec, ARecordComesBackFromItsFrame)
{
    const model_Protocoldata sent =
        record(QByteArray("\x00\xFF\x7F\x80\x01\xA5\x5A", 7), QByteArray("\x00\xFF\xA5", 3));

    Stream stream;
    stream.feed(bytesOf(sent));

    ASSERT_EQ(stream.all.records.size(), 1);
    EXPECT_TRUE(std::equal(std::begin(sent.ucHead), std::end(sent.ucHead), std::begin(stream.all.records[0].ucHead)));
    EXPECT_EQ(stream.all.records[0].baData, sent.baData);
    EXPECT_TRUE(stream.all.refusals.isEmpty());
    EXPECT_EQ(stream.held(), 0);
}

TEST(FrameCodec, AnEmptyAndALargestPayloadComeBack)
{
    const QByteArray largest(DemoFrameCodec::maxPayload, '\xA5');

    Stream stream;
    stream.feed(bytesOf(reply(QByteArray())));
    stream.feed(bytesOf(reply(largest)));

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({QByteArray(), largest}));
}

TEST(FrameCodec, APayloadThatIsTooLongHasNoFrame)
{
    EXPECT_TRUE(bytesOf(reply(QByteArray(DemoFrameCodec::maxPayload + 1, 'x'))).isEmpty());
}

TEST(FrameCodec, EverySplitOfTwoFramesGivesBoth)
{
    const QByteArray bytes = bytesOf(reply("first")) + bytesOf(reply("second"));
    for (int at = 0; at <= bytes.size(); ++at) {
        Stream stream;
        stream.feed(bytes.left(at));
        stream.feed(bytes.mid(at));
        EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"first", "second"})) << "split at " << at;
        EXPECT_TRUE(stream.all.refusals.isEmpty()) << "split at " << at;
    }
}

TEST(FrameCodec, ALyingLengthHoldsBackNoFrame)
{
    Stream stream;
    stream.feed(falseStart(DemoFrameCodec::maxPayload));
    stream.feed(bytesOf(reply("behind it")));

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"behind it"}));
    ASSERT_EQ(stream.all.refusals.size(), 1);
    EXPECT_EQ(stream.all.refusals[0].bytes, 11);
    EXPECT_EQ(stream.all.refusals[0].reason,
              QStringLiteral("declares a payload of 65535 bytes, but a whole frame came sooner"));
}

TEST(FrameCodec, ABrokenCrcLosesNoFrameBehindIt)
{
    const QByteArray broken = withBrokenCrc(bytesOf(reply("broken")));

    Stream stream;
    stream.feed(broken + bytesOf(reply("sound")));

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"sound"}));
    ASSERT_EQ(stream.all.refusals.size(), 1);
    EXPECT_EQ(stream.all.refusals[0].bytes, broken.size());
    EXPECT_EQ(stream.all.refusals[0].reason, QStringLiteral("CRC does not match, with a declared payload of 6 bytes"));
}

TEST(FrameCodec, AByteMissingFromAFrameCostsThatFrameOnly)
{
    const QByteArray whole = bytesOf(reply("damaged"));
    for (int missing = 0; missing < whole.size(); ++missing) {
        Stream stream;
        stream.feed(QByteArray(whole).remove(missing, 1) + bytesOf(reply("next")));
        EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"next"})) << "byte " << missing << " missing";
        EXPECT_EQ(refusedBytes(stream.all), whole.size() - 1) << "byte " << missing << " missing";
        EXPECT_EQ(stream.held(), 0) << "byte " << missing << " missing";
    }
}

TEST(FrameCodec, NoFlippedBitPassesTheCrc)
{
    const QByteArray whole = bytesOf(reply("flipped"));
    for (int bit = 0; bit < whole.size() * 8; ++bit) {
        QByteArray damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));

        Stream stream;
        stream.feed(damaged + bytesOf(reply("next")));

        EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"next"})) << "bit " << bit;
    }
}

TEST(FrameCodec, GarbageIsRefusedAsSoonAsItCannotBelongToAFrame)
{
    Stream stream;
    stream.feed("noise\xA5");

    ASSERT_EQ(stream.all.refusals.size(), 1);
    EXPECT_EQ(stream.all.refusals[0].bytes, 5);
    EXPECT_EQ(stream.all.refusals[0].reason, QStringLiteral("no frame starts here"));
    EXPECT_EQ(stream.held(), 1);

    stream.feed("\xA5");
    EXPECT_EQ(refusedBytes(stream.all), 6);
    EXPECT_EQ(stream.held(), 1);
}

TEST(FrameCodec, AFrameIsFoundBehindRepeatedHalvesOfAMarker)
{
    Stream stream;
    stream.feedByteByByte(QByteArray("\xA5\xA5\x5A\xA5\xA5", 5) + bytesOf(reply("found")));

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"found"}));
    EXPECT_EQ(refusedBytes(stream.all), 5);
}

TEST(FrameCodec, EachDamagedFrameIsRefusedOnItsOwn)
{
    const QByteArray broken = withBrokenCrc(bytesOf(reply("broken")));

    Stream stream;
    stream.feed("noise" + broken + broken + falseStart(500) + bytesOf(reply("sound")));

    QVector<int> sizes;
    for (const Refusal &refusal : qAsConst(stream.all.refusals)) {
        sizes.append(refusal.bytes);
    }
    EXPECT_EQ(sizes, QVector<int>({5, broken.size(), broken.size(), 11}));
}

TEST(FrameCodec, AFalseStartIsGivenUpAtTheEndThatItClaims)
{
    const int claimed = 100;
    const QByteArray start = falseStart(claimed);

    Stream stream;
    stream.feed(start + QByteArray(claimed + 1, '\0'));
    EXPECT_EQ(stream.held(), start.size() + claimed + 1);

    stream.feed(QByteArray(1, '\0'));
    EXPECT_EQ(stream.held(), 0);
    EXPECT_EQ(refusedBytes(stream.all), start.size() + claimed + 2);
}

TEST(FrameCodec, EndlessFalseStartsHoldLessThanOneLargestFrame)
{
    Stream stream;
    const QByteArray start = falseStart(DemoFrameCodec::maxPayload);
    for (int fed = 0; fed < 4 * largestFrame; fed += start.size()) {
        stream.feed(start); // Stream checks the bound
    }
    EXPECT_GT(refusedBytes(stream.all), 2 * largestFrame);
}

TEST(FrameCodec, AFrameWithinAFrameIsTakenAndTheEncoderMakesNone)
{
    const QByteArray inner = bytesOf(reply("inner"));
    EXPECT_TRUE(bytesOf(reply("before" + inner + "behind")).isEmpty());

    // What another encoder might make of it.
    QByteArray outer("\xA5\x5A", 2);
    outer.append(QByteArray(7, '\x01')).append(static_cast<char>(inner.size())).append('\0').append(inner);
    const quint16 crc = qChecksum(outer.constData() + 2, static_cast<uint>(outer.size() - 2), Qt::ChecksumIso3309);
    outer.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));

    Stream whole;
    whole.feed(outer);
    Stream inBytes;
    inBytes.feedByteByByte(outer);

    EXPECT_EQ(payloads(whole.all), QVector<QByteArray>({"inner"}));
    EXPECT_EQ(payloads(inBytes.all), QVector<QByteArray>({"inner"}));
    EXPECT_EQ(refusedBytes(whole.all), outer.size() - inner.size());
}

TEST(FrameCodec, OfTwoFramesWithOneEndTheLongerIsTaken)
{
    // The inner frame's CRC is the outer one's as well, once two bytes before it are right.
    const QByteArray inner = bytesOf(reply("inner"));
    const QByteArray innerUpToCrc = inner.left(inner.size() - 2);
    QByteArray payload;
    QByteArray outer;
    for (int number = 0; number <= 0xFFFF && !outer.endsWith(inner); ++number) {
        payload = QByteArray(1, static_cast<char>(number & 0xFF)) + static_cast<char>(number >> 8) + innerUpToCrc;
        outer = bytesOf(reply(payload));
    }
    ASSERT_TRUE(outer.endsWith(inner));

    Stream stream;
    stream.feedByteByByte(outer);

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({payload}));
    EXPECT_TRUE(stream.all.refusals.isEmpty());
}

TEST(FrameCodec, APayloadMayHoldMarkersAndDamagedFrames)
{
    const QByteArray payload = "\xA5\x5A" + withBrokenCrc(bytesOf(reply("inner"))) + falseStart(3);

    Stream stream;
    stream.feedByteByByte(bytesOf(reply(payload)));

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({payload}));
    EXPECT_TRUE(stream.all.refusals.isEmpty());
}

TEST(FrameCodec, ResetForgetsAHalfReceivedFrame)
{
    const QByteArray frame = bytesOf(reply("halved"));
    DemoFrameCodec codec;
    codec.decode(frame.left(frame.size() - 1));

    codec.reset();

    EXPECT_EQ(codec.heldBytes(), 0);
    const Decoded decoded = codec.decode(frame.right(1) + bytesOf(reply("whole")));
    EXPECT_EQ(payloads(decoded), QVector<QByteArray>({"whole"}));
    EXPECT_EQ(refusedBytes(decoded), 1);
}

TEST(FrameCodec, BytesFullOfStartsTakeTimeByTheirNumberOnly)
{
    // Each pair is a start that claims 42,330 bytes. To read them anew for every start would be
    // to read 4,600 million bytes, more than a table-driven CRC gets through in the time.
    constexpr int pairs = 128 * 1024;
    constexpr double enoughSeconds = 5.0;
    const QByteArray hostile = QByteArray("\xA5\x5A", 2).repeated(pairs);
    const std::clock_t before = std::clock();

    DemoFrameCodec codec;
    const Decoded decoded = codec.decode(hostile);

    EXPECT_LT(static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC, enoughSeconds);
    EXPECT_TRUE(decoded.records.isEmpty());
    EXPECT_EQ(refusedBytes(decoded) + codec.heldBytes(), hostile.size());
}

TEST(FrameCodec, TheCrcOfAnyStretchAgreesWithQt)
{
    std::mt19937 random(7);
    QByteArray bytes(70000, '\0');
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random()); });
    std::vector<biz::host::crc::Register> registers{0};
    for (const char byte : qAsConst(bytes)) {
        registers.push_back(biz::host::crc::advanced(registers.back(), byte));
    }
    for (const int size : {0, 1, 2, 3, 9, 255, 256, 257, 4096, 65535, 65544}) {
        for (const int from : {0, 1, 17, 4455}) {
            const auto before = registers[static_cast<std::size_t>(from)];
            const auto after = registers[static_cast<std::size_t>(from) + static_cast<std::size_t>(size)];
            EXPECT_EQ(biz::host::crc::between(before, after, size),
                      qChecksum(bytes.constData() + from, static_cast<uint>(size), Qt::ChecksumIso3309))
                << size << " bytes from " << from;
        }
    }
}
