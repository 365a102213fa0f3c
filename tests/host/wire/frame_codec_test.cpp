#include <algorithm>
#include <iterator>
#include <numeric>

#include <QtCore/QStringList>

#include <gtest/gtest.h>

#include <host/frame_codec.h>

namespace {

using biz::host::Decoded;
using biz::host::DemoDatagramCodec;
using biz::host::DemoFrameCodec;
using biz::host::FrameCodec;
using biz::host::Refusal;

constexpr int aroundPayload = 9; // head and CRC

/** Of a frame without its delimiter: one byte more for each 254 that it carries, and one at least. */
constexpr int longestStretch = aroundPayload + DemoFrameCodec::maxPayload + 259;

const QByteArray zero(1, '\0');

model_Protocoldata record(const QByteArray &head, const QByteArray &payload)
{
    model_Protocoldata made;
    std::copy_n(head.cbegin(), std::min(static_cast<int>(head.size()), static_cast<int>(sizeof made.ucHead)),
                std::begin(made.ucHead));
    made.baData = payload;
    return made;
}

model_Protocoldata reply(const QByteArray &payload = QByteArray("payload"))
{
    return record(QByteArray("\x2A\xF1\x08\x03\x62\x01\x00", 7), payload);
}

QByteArray frameOf(const QByteArray &payload)
{
    return DemoFrameCodec().encode(reply(payload));
}

/** Bytes 1 to 255 over and over: no zero among them. */
QByteArray withoutZero(int size)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i) {
        bytes.append(static_cast<char>(1 + i % 255));
    }
    return bytes;
}

/** The same with a zero as the last byte, as the first, and in the middle. */
QVector<QByteArray> withAZeroSomewhere(const QByteArray &bytes)
{
    QVector<QByteArray> made;
    for (const int at : {0, static_cast<int>(bytes.size() / 2), static_cast<int>(bytes.size() - 1)}) {
        made.append(bytes);
        made.last()[at] = '\0';
    }
    return made;
}

QVector<QByteArray> payloads(const Decoded &decoded)
{
    QVector<QByteArray> found;
    for (const model_Protocoldata &made : decoded.records) {
        found.append(made.baData);
    }
    return found;
}

QVector<int> refusedSizes(const Decoded &decoded)
{
    QVector<int> sizes;
    for (const Refusal &refusal : decoded.refusals) {
        sizes.append(refusal.bytes);
    }
    return sizes;
}

/** Decodes a stream that arrives in pieces. */
class Stream
{
public:
    void feed(const QByteArray &bytes)
    {
        const Decoded decoded = codec.decode(bytes);
        all.records += decoded.records;
        all.refusals += decoded.refusals;
        EXPECT_LE(codec.heldBytes(), longestStretch);
    }

    void feedByteByByte(const QByteArray &bytes)
    {
        for (const char byte : bytes) {
            feed(QByteArray(1, byte));
        }
    }

    Decoded all;
    DemoFrameCodec codec;
};

void expectBack(const QByteArray &payload)
{
    const QByteArray frame = frameOf(payload);
    EXPECT_EQ(frame.count('\0'), 1) << "only the delimiter is zero";
    EXPECT_TRUE(frame.endsWith('\0'));
    Stream stream;
    stream.feed(frame);
    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({payload})) << payload.size() << " bytes";
    EXPECT_TRUE(stream.all.refusals.isEmpty());
    EXPECT_EQ(stream.codec.heldBytes(), 0);
}

} // namespace

// --- Every record comes back ------------------------------------------------------------------

TEST(FrameCodec, ARecordComesBackFromItsFrame)
{
    const model_Protocoldata sent =
        record(QByteArray("\x00\xFF\x7F\x80\x01\x00\x00", 7), QByteArray("\x00\xFF\x01", 3));

    Stream stream;
    stream.feed(DemoFrameCodec().encode(sent));

    ASSERT_EQ(stream.all.records.size(), 1);
    EXPECT_TRUE(std::equal(std::begin(sent.ucHead), std::end(sent.ucHead), std::begin(stream.all.records[0].ucHead)));
    EXPECT_EQ(stream.all.records[0].baData, sent.baData);
}

TEST(FrameCodec, PayloadsAroundTheLengthsOfBlocksComeBack)
{
    // A block carries 254 bytes, and head and CRC are in the blocks as well.
    for (const int fullBlocks : {254, 508, 762}) {
        for (int size = fullBlocks - aroundPayload - 2; size <= fullBlocks + 2; ++size) {
            expectBack(withoutZero(size));
            expectBack(QByteArray(size, '\0'));
            for (const QByteArray &payload : withAZeroSomewhere(withoutZero(size))) {
                expectBack(payload);
            }
        }
    }
}

TEST(FrameCodec, AnEmptyAndTheLargestPayloadsComeBack)
{
    expectBack(QByteArray());
    expectBack(QByteArray(DemoFrameCodec::maxPayload, '\0'));
    expectBack(QByteArray(DemoFrameCodec::maxPayload, '\xFF'));
    expectBack(withoutZero(DemoFrameCodec::maxPayload));
}

TEST(FrameCodec, APayloadMayHoldWholeFrames)
{
    expectBack("before" + frameOf("inner") + frameOf("other") + "behind");
}

TEST(FrameCodec, APayloadThatIsTooLongHasNoFrame)
{
    const model_Protocoldata tooLong = reply(QByteArray(DemoFrameCodec::maxPayload + 1, 'x'));

    EXPECT_TRUE(DemoFrameCodec().encode(tooLong).isEmpty());
    EXPECT_FALSE(DemoFrameCodec().canEncode(tooLong));
    EXPECT_TRUE(DemoFrameCodec().canEncode(reply(QByteArray(DemoFrameCodec::maxPayload, 'x'))));
}

TEST(FrameCodec, ACodecThatSaysNoMoreCanEncodeWhatItHasBytesFor)
{
    class TwoBytesAtMost final : public FrameCodec
    {
    public:
        QByteArray encode(const model_Protocoldata &given) const override
        {
            return given.baData.size() > 2 ? QByteArray() : QByteArray("frame");
        }
        Decoded decode(const QByteArray & /*bytes*/) override { return {}; }
        void reset() override {}
    };

    EXPECT_TRUE(TwoBytesAtMost().canEncode(reply("ab")));
    EXPECT_FALSE(TwoBytesAtMost().canEncode(reply("abc")));
    EXPECT_EQ(TwoBytesAtMost().preamble(), QByteArray());
}

// --- However the bytes were split ---------------------------------------------------------------

TEST(FrameCodec, EverySplitOfTwoFramesGivesBoth)
{
    const QByteArray bytes = frameOf("first") + frameOf(QByteArray("\0second\0", 8));
    for (int at = 0; at <= bytes.size(); ++at) {
        Stream stream;
        stream.feed(bytes.left(at));
        stream.feed(bytes.mid(at));
        EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"first", QByteArray("\0second\0", 8)}))
            << "split at " << at;
        EXPECT_TRUE(stream.all.refusals.isEmpty()) << "split at " << at;
    }
}

TEST(FrameCodec, RefusalsDoNotDependOnTheSplitEither)
{
    const QByteArray bytes = "noise" + zero + frameOf("first").left(9) + zero +
                             QByteArray(longestStretch + 100, '\x01') + zero + frameOf("last");
    Stream whole;
    whole.feed(bytes);
    Stream inBytes;
    inBytes.feedByteByByte(bytes);

    EXPECT_EQ(payloads(whole.all), QVector<QByteArray>({"last"}));
    EXPECT_EQ(payloads(inBytes.all), payloads(whole.all));
    EXPECT_EQ(refusedSizes(whole.all), QVector<int>({5, 9, longestStretch, 100}));
    EXPECT_EQ(refusedSizes(inBytes.all), refusedSizes(whole.all));
}

TEST(FrameCodec, AFrameIsTakenWithItsDelimiterAndNotBefore)
{
    const QByteArray frame = frameOf("whole");
    Stream stream;
    stream.feed(frame.left(frame.size() - 1));
    EXPECT_TRUE(stream.all.records.isEmpty());
    EXPECT_EQ(stream.codec.heldBytes(), frame.size() - 1);

    stream.feed(zero);
    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"whole"}));
    EXPECT_EQ(stream.codec.heldBytes(), 0);
}

// --- After damage -----------------------------------------------------------------------------------

TEST(FrameCodec, AfterGarbageTheNextZeroIsEnough)
{
    Stream stream;
    stream.feed("garbage" + zero + frameOf("behind it"));

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"behind it"}));
    EXPECT_EQ(refusedSizes(stream.all), QVector<int>({7}));
}

TEST(FrameCodec, ThePreambleSavesTheFirstFrameFromWhatWasHalfReceived)
{
    Stream stream;
    stream.feed("half a frame" + DemoFrameCodec().preamble() + frameOf("first"));

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"first"}));
    EXPECT_EQ(refusedSizes(stream.all), QVector<int>({12}));
}

TEST(FrameCodec, AnEmptyStretchIsNoRefusal)
{
    Stream stream;
    stream.feed(zero + zero + frameOf("first") + zero + zero);
    stream.feed(zero);

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"first"}));
    EXPECT_TRUE(stream.all.refusals.isEmpty());
}

TEST(FrameCodec, AFrameThatIsCutAnywhereIsRefusedOnce)
{
    const QByteArray whole = frameOf("cut off\0somewhere");
    for (int size = 1; size < whole.size() - 1; ++size) {
        Stream stream;
        stream.feed(whole.left(size) + zero + frameOf("next"));
        EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"next"})) << size << " bytes left";
        EXPECT_EQ(refusedSizes(stream.all), QVector<int>({size})) << size << " bytes left";
    }
}

TEST(FrameCodec, AByteMissingFromAFrameCostsThatFrameOnly)
{
    const QByteArray whole = frameOf("damaged");
    for (int missing = 0; missing < whole.size() - 1; ++missing) {
        Stream stream;
        stream.feed(QByteArray(whole).remove(missing, 1) + frameOf("next"));
        EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"next"})) << "byte " << missing << " missing";
        EXPECT_EQ(refusedSizes(stream.all), QVector<int>({static_cast<int>(whole.size()) - 2}))
            << "byte " << missing << " missing";
    }
}

TEST(FrameCodec, AMissingDelimiterCostsTwoFramesAndNoMore)
{
    QByteArray bytes = frameOf("first");
    bytes.chop(1);
    bytes += frameOf("second");
    Stream stream;
    stream.feed(bytes + frameOf("third"));

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"third"}));
    EXPECT_EQ(refusedSizes(stream.all), QVector<int>({static_cast<int>(bytes.size()) - 1}));
}

TEST(FrameCodec, NoFlippedBitPassesTheCrc)
{
    const QByteArray whole = frameOf("flipped");
    for (int bit = 0; bit < (whole.size() - 1) * 8; ++bit) {
        QByteArray damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));

        Stream stream;
        stream.feed(damaged + frameOf("next"));

        EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"next"})) << "bit " << bit;
    }
}

TEST(FrameCodec, EachReasonForARefusalIsTold)
{
    QByteArray wrongCrc = frameOf("payload");
    wrongCrc[2] = static_cast<char>(wrongCrc[2] ^ 1);
    const QByteArray tooMuchPayload = QByteArray(DemoFrameCodec::maxPayload + aroundPayload + 2, '\x01');

    Stream stream;
    stream.feed("\5cut" + zero + "\x04ten" + zero + wrongCrc + tooMuchPayload + zero);
    stream.feed(QByteArray(longestStretch + 1, '\x01'));

    QStringList reasons;
    for (const Refusal &refusal : qAsConst(stream.all.refusals)) {
        reasons.append(refusal.reason);
    }
    EXPECT_EQ(reasons, QStringList({"a COBS block reaches beyond the end of the frame",
                                    "3 bytes are no record, which has at least 9", "CRC does not match",
                                    "the frame carries more payload than 65535 bytes", "longer than every frame"}))
        << reasons.join('\n').toStdString();
}

TEST(FrameCodec, ResetForgetsAHalfReceivedFrame)
{
    DemoFrameCodec codec;
    codec.decode("half a frame");
    codec.reset();

    EXPECT_EQ(codec.heldBytes(), 0);
    EXPECT_EQ(payloads(codec.decode(frameOf("whole"))), QVector<QByteArray>({"whole"}));
}

TEST(FrameCodec, ResetForgetsThatAStretchWasTooLong)
{
    DemoFrameCodec codec;
    codec.decode(QByteArray(longestStretch + 1, '\x01'));
    codec.reset();

    EXPECT_EQ(payloads(codec.decode(frameOf("whole"))), QVector<QByteArray>({"whole"}));
}

// --- Bounds -------------------------------------------------------------------------------------------

TEST(FrameCodec, AnEndlessStretchIsRefusedOncePerLargestFrameAndHoldsNoMoreThanOne)
{
    constexpr int pieces = 1000;
    constexpr int pieceSize = 1021;
    Stream stream; // which checks what is held
    for (int i = 0; i < pieces; ++i) {
        stream.feed(QByteArray("\xA5\x5A", 2).repeated(pieceSize).left(pieceSize));
    }

    const int full = pieces * pieceSize / longestStretch;
    EXPECT_EQ(refusedSizes(stream.all), QVector<int>(full, longestStretch));
    EXPECT_EQ(stream.codec.heldBytes(), pieces * pieceSize - full * longestStretch);
}

TEST(FrameCodec, AStretchAsLongAsTheLongestFrameIsOneRefusal)
{
    Stream stream;
    stream.feed(QByteArray(longestStretch, '\x01') + zero);
    EXPECT_EQ(refusedSizes(stream.all), QVector<int>({longestStretch}));
}

TEST(FrameCodec, TheEndOfAStretchThatWasTooLongIsNeverTakenForAFrame)
{
    Stream stream;
    stream.feed(QByteArray(longestStretch, '\x01') + frameOf("no frame by itself") + frameOf("next"));

    EXPECT_EQ(payloads(stream.all), QVector<QByteArray>({"next"}));
}

// --- The datagram ---------------------------------------------------------------------------------------

TEST(DatagramCodec, ARecordOfAnySizeComesBackFromItsDatagram)
{
    for (const int size : {0, 1, 253, 254, 255, DemoDatagramCodec::maxPayload}) {
        for (const char filling : {'\0', '\xFF', 'x'}) {
            const QByteArray payload(size, filling);
            const QByteArray datagram = DemoDatagramCodec().encode(reply(payload));
            EXPECT_EQ(datagram.size(), aroundPayload + size);
            EXPECT_EQ(payloads(DemoDatagramCodec().decode(datagram)), QVector<QByteArray>({payload}));
        }
    }
}

TEST(DatagramCodec, TheLargestDatagramIsTheLargestOfUdpAndALargerPayloadHasNone)
{
    const model_Protocoldata tooLong = reply(QByteArray(DemoDatagramCodec::maxPayload + 1, 'x'));

    EXPECT_EQ(DemoDatagramCodec().encode(reply(QByteArray(DemoDatagramCodec::maxPayload, 'x'))).size(), 65507);
    EXPECT_TRUE(DemoDatagramCodec().encode(tooLong).isEmpty());
    EXPECT_FALSE(DemoDatagramCodec().canEncode(tooLong));
}

TEST(DatagramCodec, ItIsTheFrameWithoutStuffingAndDelimiter)
{
    const QByteArray datagram = DemoDatagramCodec().encode(record("\x01\x02\x03\x04\x05\x06\x07", "abc"));
    ASSERT_FALSE(datagram.contains('\0')); // or the frame would have more than one block

    EXPECT_EQ(DemoFrameCodec().encode(record("\x01\x02\x03\x04\x05\x06\x07", "abc")),
              static_cast<char>(datagram.size() + 1) + datagram + zero);
}

TEST(DatagramCodec, WhatIsNoRecordIsRefusedAsAWhole)
{
    const QByteArray datagram = DemoDatagramCodec().encode(reply());
    QByteArray damaged = datagram;
    damaged[3] = static_cast<char>(damaged[3] ^ 1);
    const QVector<QByteArray> none = {QByteArray(), "12345678",          datagram.left(datagram.size() - 1),
                                      damaged,      datagram + datagram, datagram + zero};
    for (const QByteArray &bytes : none) {
        const Decoded decoded = DemoDatagramCodec().decode(bytes);
        EXPECT_TRUE(decoded.records.isEmpty()) << bytes.toHex(' ').constData();
        EXPECT_EQ(refusedSizes(decoded), QVector<int>({static_cast<int>(bytes.size())}))
            << bytes.toHex(' ').constData();
    }
}

TEST(DatagramCodec, ARefusedDatagramDoesNotTouchTheNext)
{
    DemoDatagramCodec codec;
    const QByteArray datagram = codec.encode(reply("whole"));
    codec.decode(datagram.left(datagram.size() / 2));

    EXPECT_EQ(payloads(codec.decode(datagram)), QVector<QByteArray>({"whole"}));
    EXPECT_EQ(codec.preamble(), QByteArray());
}
