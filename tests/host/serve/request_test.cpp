#include <serve/request_p.h>

#include <gtest/gtest.h>

namespace {

using biz::host::readMessage;
using biz::host::readRequest;
using biz::host::ReadRequest;
using biz::host::Request;
using biz::host::ServedChannel;

ReadRequest device(const QByteArray &line)
{
    return readRequest(line, ServedChannel::Device);
}

ReadRequest osd(const QByteArray &line)
{
    return readRequest(line, ServedChannel::Osd);
}

/** A good command of a device with further members. */
ReadRequest deviceWith(const QByteArray &members)
{
    return device(R"({"do":"command","id":"7","head":"F1 08 03 62 01 00")" + members + '}');
}

} // namespace

TEST(RequestTest, ACommandHasAllThatItsLineSays)
{
    const ReadRequest read =
        deviceWith(R"(,"data":"0102ff","waitMs":700,"validForMs":2000,"replaceKey":"brightness","urgent":true)");
    ASSERT_EQ(read.problem, QString());
    EXPECT_EQ(read.request.what, Request::Do::Command);
    EXPECT_EQ(read.request.id, QStringLiteral("7"));
    EXPECT_EQ(read.request.device.ucHead[1], 0xF1);
    EXPECT_EQ(read.request.device.ucHead[6], 0x00);
    EXPECT_EQ(read.request.device.ucHead[4], 0x62);
    EXPECT_EQ(read.request.device.baData, QByteArray("\x01\x02\xff"));
    EXPECT_EQ(read.request.device.iWaitTime, 700);
    EXPECT_EQ(read.request.options.validFor.count(), 2000);
    EXPECT_EQ(read.request.options.replaceKey, QStringLiteral("brightness"));
    EXPECT_TRUE(read.request.options.urgent);
}

TEST(RequestTest, WhatACommandDoesNotSayIsTheHostsDefault)
{
    const ReadRequest read = deviceWith("");
    ASSERT_EQ(read.problem, QString());
    EXPECT_EQ(read.request.device.iWaitTime, 0);
    EXPECT_EQ(read.request.options.validFor.count(), 0);
    EXPECT_FALSE(read.request.options.urgent);
}

TEST(RequestTest, ACommandToAnOsdDeviceHasAddressTextAndFlag)
{
    const ReadRequest read = osd(R"({"do":"command","id":"a","device":"127.1.0.1","text":"Grüße","flag":255,)"
                                 R"("head":"0D 01 00 00 00 00 00 00 00 00 0A"})");
    ASSERT_EQ(read.problem, QString());
    EXPECT_EQ(read.request.osd.qsIp, QStringLiteral("127.1.0.1"));
    EXPECT_EQ(read.request.osd.qsOsdText, QStringLiteral("Grüße"));
    EXPECT_EQ(read.request.osd.ucOsdFlag, 255);
    EXPECT_EQ(read.request.osd.ucOsdHead[10], 0x0A);
}

TEST(RequestTest, EachOtherRequestIsItsName)
{
    EXPECT_EQ(device(R"({"do":"clear"})").request.what, Request::Do::Clear);
    EXPECT_EQ(device(R"({"do":"counters"})").request.what, Request::Do::Counters);
    EXPECT_EQ(device(R"({"do":"stop"})").request.what, Request::Do::Stop);
    const ReadRequest cancel = device(R"({"do":"cancel","id":"7"})");
    EXPECT_EQ(cancel.request.what, Request::Do::Cancel);
    EXPECT_EQ(cancel.request.id, QStringLiteral("7"));
    EXPECT_EQ(cancel.problem, QString());
}

TEST(RequestTest, WhatIsNoJsonObjectIsRefusedWithTheByte)
{
    EXPECT_EQ(device("[]").problem, QStringLiteral("a JSON object expected, not an array"));
    EXPECT_TRUE(device("{\"do\":").problem.startsWith(QStringLiteral("a JSON object expected, but at byte ")));
    EXPECT_FALSE(device("").problem.isEmpty());
    EXPECT_FALSE(device("{\"do\":\"stop\"} x").problem.isEmpty());
}

TEST(RequestTest, AKeyThatStandsTwiceIsRefused)
{
    EXPECT_EQ(device(R"({"do":"cancel","id":"a","id":"b"})").problem, QStringLiteral("id: the key stands twice"));
    EXPECT_EQ(device(R"({"do":"cancel","id":"a","i\u0064":"b"})").problem, QStringLiteral("id: the key stands twice"));
    EXPECT_EQ(device(R"({"do":"cancel","id":"a\":{\"id\":"})").problem, QString());
}

TEST(RequestTest, AProblemSaysWhatWasExpected)
{
    EXPECT_EQ(device(R"({"do":"fly"})").problem,
              QStringLiteral("do: one of command, cancel, clear, counters, stop expected, not \"fly\""));
    EXPECT_EQ(device(R"({"do":"stop","now":1})").problem, QStringLiteral("now: unknown key; expected one of do"));
    EXPECT_EQ(device(R"({"do":"cancel"})").problem,
              QStringLiteral("id: a text of 1 to 128 characters expected, not nothing"));
    EXPECT_EQ(deviceWith(R"(,"waitMs":0)").problem,
              QStringLiteral("waitMs: a whole number from 1 to 3600000 expected, not 0"));
    EXPECT_EQ(deviceWith(R"(,"waitMs":1.5)").problem,
              QStringLiteral("waitMs: a whole number from 1 to 3600000 expected, not 1.5"));
    EXPECT_EQ(deviceWith(R"(,"urgent":"yes")").problem, QStringLiteral("urgent: true or false expected, not \"yes\""));
    EXPECT_EQ(deviceWith(R"(,"data":"0x1")").problem,
              QStringLiteral("data: at most 65535 bytes in hexadecimal such as \"01 02 FF\" expected, not \"0x1\""));
    EXPECT_EQ(device(R"({"do":"command","id":"7","head":"F1"})").problem,
              QStringLiteral("head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" expected, not \"F1\""));
}

TEST(RequestTest, AKeyOfTheOtherChannelIsUnknown)
{
    EXPECT_TRUE(deviceWith(R"(,"text":"a")").problem.startsWith(QStringLiteral("text: unknown key")));
    EXPECT_TRUE(osd(R"({"do":"command","id":"a","head":"0D 01 00 00 00 00 00 00 00 00 00"})")
                    .problem.startsWith(QStringLiteral("device: a text")));
}

TEST(RequestTest, TheLongestPayloadFitsALineAndOneByteMoreIsRefused)
{
    const QByteArray longest = QByteArray(65535, '\x11').toHex();
    EXPECT_EQ(deviceWith(",\"data\":\"" + longest + '"').problem, QString());
    EXPECT_NE(deviceWith(",\"data\":\"" + longest + "11\"").problem, QString());
}

TEST(RequestTest, AProblemKeepsTheIdOfItsLine)
{
    EXPECT_EQ(deviceWith(R"(,"waitMs":"soon")").id, QStringLiteral("7"));
}

TEST(RequestTest, AProblemShowsWhatKindOfValueThereIsAndNoMoreThanItsBeginning)
{
    EXPECT_TRUE(deviceWith(R"(,"waitMs":[1])").problem.endsWith(QStringLiteral("not an array")));
    EXPECT_TRUE(deviceWith(R"(,"waitMs":{"ms":1})").problem.endsWith(QStringLiteral("not an object")));
    EXPECT_TRUE(
        deviceWith(",\"waitMs\":\"" + QByteArray(100, 'x') + '"')
            .problem.endsWith(QStringLiteral("not \"") + QString(39, QLatin1Char('x')) + QStringLiteral("...")));
}

TEST(RequestTest, ANumberThatIsNotWithinItsBoundsIsRefused)
{
    EXPECT_EQ(deviceWith(R"(,"waitMs":3600000)").problem, QString());
    EXPECT_FALSE(deviceWith(R"(,"waitMs":3600001)").problem.isEmpty());
    EXPECT_FALSE(deviceWith(R"(,"waitMs":true)").problem.isEmpty());
}

TEST(RequestTest, ATextIsATextOfAllowedLength)
{
    const QByteArray key = ",\"replaceKey\":";
    EXPECT_EQ(deviceWith(key + '"' + QByteArray(128, 'k') + '"').problem, QString());
    EXPECT_EQ(deviceWith(key + '7').problem,
              QStringLiteral("replaceKey: a text of at most 128 characters expected, not 7"));
    EXPECT_FALSE(deviceWith(key + '"' + QByteArray(129, 'k') + '"').problem.isEmpty());
    EXPECT_FALSE(device("{\"do\":\"cancel\",\"id\":\"" + QByteArray(129, 'i') + "\"}").problem.isEmpty());
}

TEST(RequestTest, BytesAreAText)
{
    EXPECT_FALSE(deviceWith(R"(,"data":1)").problem.isEmpty());
    EXPECT_FALSE(device(R"({"do":"command","id":"7","head":7})").problem.isEmpty());
    EXPECT_FALSE(device(R"({"do":"command","id":"7","head":"F1 08 03 62 01 0G"})").problem.isEmpty());
}

TEST(MessageTest, IsACommandUnlessItSaysWhatItIs)
{
    const ReadRequest command = readMessage(R"({"id":"a","head":"F1 08 03 62 01 00"})", ServedChannel::Device, {});
    EXPECT_EQ(command.problem, QString());
    EXPECT_EQ(command.request.what, Request::Do::Command);
    EXPECT_EQ(readMessage(R"({"do":"clear"})", ServedChannel::Device, {}).request.what, Request::Do::Clear);
}

TEST(MessageTest, OfAnOsdDeviceNamesNoDevice)
{
    const QString device = QStringLiteral("127.1.0.1");
    EXPECT_EQ(readMessage(R"({"id":"a","text":"hello"})", ServedChannel::Osd, device).request.osd.qsIp, device);
    EXPECT_TRUE(readMessage(R"({"id":"a","device":"127.1.0.2"})", ServedChannel::Osd, device)
                    .problem.startsWith(QStringLiteral("device: unknown key")));
}
