#include <algorithm>
#include <iterator>
#include <numeric>
#include <random>

#include <gtest/gtest.h>

#include <host/frame_codec.h>
#include <host/running_crc_p.h>

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
        m_given += bytes.size();
        for (const model_Protocoldata &made : decoded.records) {
            m_framed += frameAround + made.baData.size();
        }
        EXPECT_EQ(m_given, m_framed + refusedBytes(all) + m_codec.heldBytes());
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
            const auto after = registers[static_cast<std::size_t>(from + size)];
            EXPECT_EQ(biz::host::crc::between(before, after, size),
                      qChecksum(bytes.constData() + from, static_cast<uint>(size), Qt::ChecksumIso3309))
                << size << " bytes from " << from;
        }
    }
}
