#include <algorithm>
#include <iterator>

#include <gtest/gtest.h>

#include <host/osd_datagram_codec.h>

namespace {

using biz::host::OsdDatagramCodec;

model_OsdParam command(const QByteArray &payload = QByteArray("payload"))
{
    model_OsdParam made;
    std::generate(std::begin(made.ucOsdHead), std::end(made.ucOsdHead),
                  [value = 0xF5]() mutable { return static_cast<unsigned char>(value++ & 0xFF); });
    made.ucOsdFlag = 0xC3;
    made.baData = payload;
    return made;
}

/** The reason for which a datagram is refused; empty when it is taken. */
QString refusalOf(const QByteArray &datagram)
{
    model_OsdParam record;
    QString reason;
    const bool taken = OsdDatagramCodec::decode(datagram, &record, &reason);
    EXPECT_EQ(taken, reason.isEmpty());
    return reason;
}

} // namespace

TEST(OsdDatagramCodec, HeadFlagAndPayloadComeBackAndTheRestIsLeftAlone)
{
    const model_OsdParam sent = command(QByteArray("\x00\xA5\x0D\xFF", 4));
    model_OsdParam received;
    received.qsIp = QStringLiteral("127.0.0.9");
    received.nTag = 77;
    received.iWaitTime = 1500;
    QString reason;

    ASSERT_TRUE(OsdDatagramCodec::decode(OsdDatagramCodec::encode(sent), &received, &reason)) << qPrintable(reason);

    EXPECT_TRUE(std::equal(std::begin(sent.ucOsdHead), std::end(sent.ucOsdHead), std::begin(received.ucOsdHead)));
    EXPECT_EQ(received.ucOsdFlag, 0xC3);
    EXPECT_EQ(received.baData, sent.baData);
    EXPECT_EQ(received.qsIp, QStringLiteral("127.0.0.9"));
    EXPECT_EQ(received.nTag, 77U);
    EXPECT_EQ(received.iWaitTime, 1500);
}

TEST(OsdDatagramCodec, AnEmptyAndALargestPayloadComeBack)
{
    for (const int size : {0, 1, OsdDatagramCodec::maxPayload}) {
        const model_OsdParam sent = command(QByteArray(size, '\x5A'));
        model_OsdParam received;
        QString reason;
        EXPECT_TRUE(OsdDatagramCodec::decode(OsdDatagramCodec::encode(sent), &received, &reason)) << qPrintable(reason);
        EXPECT_EQ(received.baData, sent.baData);
    }
}

TEST(OsdDatagramCodec, APayloadThatIsTooLongHasNoDatagram)
{
    EXPECT_TRUE(OsdDatagramCodec::encode(command(QByteArray(OsdDatagramCodec::maxPayload + 1, 'x'))).isEmpty());
}

TEST(OsdDatagramCodec, EachRefusalSaysWhatIsWrong)
{
    const QByteArray sound = OsdDatagramCodec::encode(command("four"));
    QByteArray otherMarker = sound;
    otherMarker[1] = '\x5A';
    QByteArray otherCrc = sound;
    otherCrc[otherCrc.size() - 1] = static_cast<char>(otherCrc.back() ^ 0x01);

    EXPECT_EQ(refusalOf(sound), QString());
    EXPECT_EQ(refusalOf(QByteArray()), QStringLiteral("datagram has 0 bytes, needs at least 18"));
    EXPECT_EQ(refusalOf(sound.left(17)), QStringLiteral("datagram has 17 bytes, needs at least 18"));
    EXPECT_EQ(refusalOf(otherMarker), QStringLiteral("datagram does not start with A5 0D"));
    EXPECT_EQ(refusalOf(sound.left(sound.size() - 1)),
              QStringLiteral("datagram declares 4 payload bytes and carries 3"));
    EXPECT_EQ(refusalOf(sound + 'x'), QStringLiteral("datagram declares 4 payload bytes and carries 5"));
    EXPECT_EQ(refusalOf(otherCrc), QStringLiteral("CRC does not match"));
}

TEST(OsdDatagramCodec, NoTruncatedDatagramIsTaken)
{
    const QByteArray sound = OsdDatagramCodec::encode(command());
    for (int size = 0; size < sound.size(); ++size) {
        EXPECT_NE(refusalOf(sound.left(size)), QString()) << size << " bytes";
    }
}

TEST(OsdDatagramCodec, NoFlippedBitIsTaken)
{
    const QByteArray sound = OsdDatagramCodec::encode(command());
    for (int bit = 0; bit < sound.size() * 8; ++bit) {
        QByteArray damaged = sound;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        EXPECT_NE(refusalOf(damaged), QString()) << "bit " << bit;
    }
}

TEST(OsdDatagramCodec, ARefusedDatagramLeavesTheRecordAlone)
{
    model_OsdParam record = command("kept");
    QByteArray damaged = OsdDatagramCodec::encode(model_OsdParam());
    damaged[2] = '\x01';
    QString reason;

    EXPECT_FALSE(OsdDatagramCodec::decode(damaged, &record, &reason));

    EXPECT_EQ(record.baData, QByteArray("kept"));
    EXPECT_EQ(record.ucOsdHead[0], 0xF5);
    EXPECT_EQ(record.ucOsdFlag, 0xC3);
}
