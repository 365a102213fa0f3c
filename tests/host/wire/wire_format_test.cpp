#include <algorithm>
#include <iterator>

#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <host/frame_codec.h>
#include <host/osd_datagram_codec.h>
#include <host/reply_words.h>

namespace {

/** The documentation of the wire formats, in which the examples stand as lines of hex bytes. */
QByteArray document()
{
    QFile file(QStringLiteral(BIZ_SOURCE_DIR "/docs/wire_format.md"));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(file.fileName());
    return file.readAll();
}

/** A line of its own with the bytes as the document shows them. */
QByteArray lineOf(const QByteArray &bytes)
{
    return '\n' + bytes.toHex(' ').toUpper() + '\n';
}

model_Protocoldata documentedReply()
{
    const QByteArray head("\x2A\xF1\x0E\x00\x0A\x00\x00", 7);
    model_Protocoldata reply;
    std::copy(head.cbegin(), head.cend(), std::begin(reply.ucHead));
    reply.baData = "0123456789";
    return reply;
}

} // namespace

TEST(WireFormat, TheDocumentedFrameIsWhatTheCodecMakes)
{
    const QByteArray frame = biz::host::DemoFrameCodec().encode(documentedReply());

    EXPECT_TRUE(document().contains(lineOf(frame))) << frame.toHex(' ').constData();
    EXPECT_TRUE(biz::host::judgeReply(0x1400, documentedReply()).accepted);
}

TEST(WireFormat, TheDocumentedDatagramIsWhatTheCodecMakes)
{
    const QByteArray datagram = biz::host::DemoDatagramCodec().encode(documentedReply());

    EXPECT_TRUE(document().contains(lineOf(datagram))) << datagram.toHex(' ').constData();
}

TEST(WireFormat, TheDocumentedOsdDatagramIsWhatTheCodecMakes)
{
    model_OsdParam command;
    std::generate(std::begin(command.ucOsdHead), std::end(command.ucOsdHead),
                  [value = 1]() mutable { return static_cast<unsigned char>(value++); });
    command.ucOsdFlag = 1;
    command.baData = "ON";

    const QByteArray datagram = biz::host::OsdDatagramCodec::encode(command);

    EXPECT_TRUE(document().contains(lineOf(datagram))) << datagram.toHex(' ').constData();
}

TEST(WireFormat, TheDocumentedCheckValueIsTheOneOfTheCrc)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    const quint16 check = qChecksum("123456789", 9, Qt::ChecksumIso3309);
#else
    const quint16 check = qChecksum(QByteArrayView("123456789"), Qt::ChecksumIso3309);
#endif
    const QByteArray crc = QByteArray::number(check, 16).toUpper();

    EXPECT_TRUE(document().contains("`123456789` | it is `" + crc + '`')) << crc.constData();
}
