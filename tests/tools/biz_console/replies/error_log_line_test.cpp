#include <gtest/gtest.h>

#include <QtCore/QFile>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_console/replies/error_log_file.h>
#include <biz_console/replies/error_log_line.h>
#include <support/scratch_folder.h>

using namespace biz::console;

namespace {

const QByteArray goodLine = "[ORLIXA2][2024-05-06 14:03:22 517]<0a 01 00 02 10>550affffffffffffff9c";

TEST(ConsoleErrorLog, ReadsALineBack)
{
    const auto line = readErrorLogLine(goodLine);
    ASSERT_TRUE(line);
    EXPECT_EQ(line->loggedName, "ORLIXA2");
    EXPECT_EQ(line->time, "2024-05-06 14:03:22.517");
    const unsigned char head[7] = {0, 0x0A, 0x01, 0x00, 0x02, 0x10, 0};
    EXPECT_TRUE(std::equal(std::begin(head), std::end(head), line->reply.ucHead));
    EXPECT_EQ(line->reply.baData, QByteArray("\x55\x0a\x9c"));
}

TEST(ConsoleErrorLog, ReadsWhatTheLibraryWrote)
{
    const biz::test::ScratchFolder scratch;
    model_Protocoldata written;
    for (int i = 1; i <= 5; ++i) {
        written.ucHead[i] = static_cast<unsigned char>(i * 0x30);
    }
    for (int byte = 0; byte <= 0xFF; ++byte) {
        written.baData.append(static_cast<char>(byte));
    }
    biz_CMDSWork worker;
    const int before = biz_CMDSWork::deviceType;
    biz_CMDSWork::deviceType = 0x7A4200; // which the log cannot name
    worker.writeErrorLog(written);
    biz_CMDSWork::deviceType = before;

    QFile log(errorLogOfToday(scratch.path()));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const auto line = readErrorLogLine(log.readAll().trimmed());
    ASSERT_TRUE(line);
    EXPECT_EQ(line->loggedName, "");
    EXPECT_EQ(line->reply.baData, written.baData);
    EXPECT_TRUE(std::equal(std::begin(written.ucHead), std::end(written.ucHead), line->reply.ucHead));
}

class TornLine : public testing::TestWithParam<QByteArray>
{
};

TEST_P(TornLine, IsNotUnderstood)
{
    EXPECT_FALSE(readErrorLogLine(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Console, TornLine,
                         testing::Values("", "[", "[ORLIXA2]", "[ORLIXA2][2024-05-06 14:03:22 517]<0a 01 00 02",
                                         "[SOMETHING][2024-05-06 14:03:22 517]<0a 01 00 02 10>",
                                         "[ORLIXA2][yesterday]<0a 01 00 02 10>",
                                         "[ORLIXA2][2024-05-+6 14:03:22 517]<0a 01 00 02 10>",
                                         QByteArray("[][2024-05-06 14:03:22 517\0]<0a 01 00 02 10>", 44),
                                         "[ORLIXA2][2024-05-06 14:03:22 517]<0a 01 00 02 10>5",
                                         "[ORLIXA2][2024-05-06 14:03:22 517]<0a 01 00 02 10>9c",
                                         "[ORLIXA2][2024-05-06 14:03:22 517]<0a 01 00 02 10>fffffff",
                                         "[ORLIXA2][2024-05-06 14:03:22 517]<0a 01 00 02 10>ffffffffffffff1c",
                                         "[ORLIXA2][2024-05-06 14:03:22 517]<0A 01 00 02 10>",
                                         "[ORLIXA2][2024-05-06 14:03:22 517]<0a 01 00 02 10> 55"));

TEST(ConsoleErrorLog, TheModelThatTheLogCannotNameIsKnown)
{
    ASSERT_NE(modelOfLoggedName(""), nullptr);
    EXPECT_EQ(modelOfLoggedName("")->name, "PVN410MAX2");
    EXPECT_EQ(modelOfLoggedName("ORLIXA5")->name, "A5");
    EXPECT_EQ(modelOfLoggedName("UnknownType"), nullptr);
}

} // namespace
