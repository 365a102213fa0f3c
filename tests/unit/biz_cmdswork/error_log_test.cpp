#include "device_channel_fixture.h"

#include <climits>
#include <ctime>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QLocale>

#include <sys/stat.h>
#include <unistd.h>

#include <support/full_disk.h>
#include <support/test_names.h>

using namespace biz::test;

namespace {

const QDateTime afternoon(QDate(2024, 5, 6), QTime(14, 3, 22, 517));

class ErrorLog : public DeviceChannelTest
{
protected:
    ErrorLog() { time.setWallClock(afternoon); }

    static model_Protocoldata reply(const QByteArray &payload = QByteArray())
    {
        model_Protocoldata record;
        const uchar head[7] = {0x3c, 0x0a, 0x01, 0x00, 0x02, 0x10, 0x77};
        std::copy(std::begin(head), std::end(head), std::begin(record.ucHead));
        record.baData = payload;
        return record;
    }

    QByteArray contentOf(const QString &file) const
    {
        QFile log(folder.path(file));
        EXPECT_TRUE(log.open(QIODevice::ReadOnly)) << file.toStdString();
        return log.readAll();
    }

    QByteArray today() const { return contentOf(QStringLiteral("Errorlog/20240506.log")); }

    /** What stands after the head group in the one line that a payload gives. */
    QByteArray dumpOf(const QByteArray &payload)
    {
        QFile::remove(folder.path(QStringLiteral("Errorlog/20240506.log")));
        worker.writeErrorLog(reply(payload));
        const QByteArray line = today();
        return line.mid(line.indexOf('>') + 1).chopped(1);
    }

    static QStringList entriesOf(const QString &path)
    {
        return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }

    static void makeFile(const QString &path, const QByteArray &content)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
};

// --- The line -------------------------------------------------------------------------

TEST_F(ErrorLog, ALineNamesModelTimeHeadAndPayloadWithNothingBetween)
{
    biz_CMDSWork::deviceType = 0x1400;
    worker.writeErrorLog(reply(QByteArray::fromHex("550a9c")));
    EXPECT_EQ(today(), QByteArray("[ORLIXA2][2024-05-06 14:03:22 517]<0a 01 00 02 10>550affffffffffffff9c\n"));
}

TEST_F(ErrorLog, AnEmptyPayloadEndsTheLineAfterTheHead)
{
    worker.writeErrorLog(reply());
    EXPECT_EQ(today(), QByteArray("[UnknownType][2024-05-06 14:03:22 517]<0a 01 00 02 10>\n"));
}

TEST_F(ErrorLog, HeadBytesAreAlwaysTwoDigits)
{
    model_Protocoldata record;
    const uchar head[7] = {0xEE, 0xab, 0x05, 0x80, 0xff, 0x7f, 0xDD};
    std::copy(std::begin(head), std::end(head), std::begin(record.ucHead));
    worker.writeErrorLog(record);
    EXPECT_TRUE(today().endsWith("]<ab 05 80 ff 7f>\n")) << today().toStdString();
}

TEST_F(ErrorLog, PayloadBytesFrom80OnTakeSixteenDigits)
{
    EXPECT_EQ(dumpOf(QByteArray::fromHex("ab05")), QByteArray("ffffffffffffffab05"));
    EXPECT_EQ(dumpOf(QByteArray::fromHex("7f")), QByteArray("7f"));
    EXPECT_EQ(dumpOf(QByteArray::fromHex("80")), QByteArray("ffffffffffffff80"));
    EXPECT_EQ(dumpOf(QByteArray::fromHex("ff")), QByteArray("ffffffffffffffff"));
    EXPECT_EQ(dumpOf(QByteArray::fromHex("00")), QByteArray("00"));
}

TEST_F(ErrorLog, EveryByteValueIsDumpedFromFirstToLast)
{
    QByteArray payload;
    QByteArray expected;
    for (int byte = 0; byte <= 0xFF; ++byte) {
        payload.append(static_cast<char>(byte));
        const qlonglong widened = byte < 0x80 ? byte : byte - 256;
        expected.append(QString::number(static_cast<qulonglong>(widened), 16).rightJustified(2, u'0').toLatin1());
    }
    EXPECT_EQ(dumpOf(payload), expected);
}

TEST_F(ErrorLog, ALongPayloadIsDumpedWhole)
{
    const QByteArray dump = dumpOf(QByteArray(5000, '\x90'));
    EXPECT_EQ(dump.size(), 5000 * 16);
    EXPECT_EQ(dump.count("ffffffffffffff90"), 5000);
}

TEST_F(ErrorLog, HoursCountTo24AndMillisecondsHaveThreeDigits)
{
    time.setWallClock(QDateTime(QDate(2024, 5, 6), QTime(23, 0, 9, 7)));
    worker.writeErrorLog(reply());
    time.setWallClock(QDateTime(QDate(2024, 5, 6), QTime(0, 0)));
    worker.writeErrorLog(reply());
    EXPECT_TRUE(today().contains("[2024-05-06 23:00:09 007]"));
    EXPECT_TRUE(today().contains("[2024-05-06 00:00:00 000]"));
}

// --- Model names ----------------------------------------------------------------------

struct NameRow
{
    int deviceType;
    const char *name;
};

std::string nameOfType(const ::testing::TestParamInfo<NameRow> &row)
{
    return biz::test::hexName(row.param.deviceType);
}

class ErrorLogName : public ErrorLog, public ::testing::WithParamInterface<NameRow>
{
};

TEST_P(ErrorLogName, BelongsToExactlyThisDeviceType)
{
    biz_CMDSWork::deviceType = GetParam().deviceType;
    worker.writeErrorLog(reply());
    EXPECT_TRUE(today().startsWith("[" + QByteArray(GetParam().name) + "][2024")) << today().toStdString();
}

INSTANTIATE_TEST_SUITE_P(Known, ErrorLogName,
                         ::testing::Values(NameRow{0x1400, "ORLIXA2"}, NameRow{0x5A10, "QTR101"},
                                           NameRow{0x5C00, "BEND24"}, NameRow{0x1300, "ORLIXA1"}, NameRow{0x1301, "K3"},
                                           NameRow{0x1700, "ORLIXA1MAX"}, NameRow{0x1701, "K6"},
                                           NameRow{0x1800, "ORLIXA3"}, NameRow{0x4E00, "R-UNO"},
                                           NameRow{0x7A40, "PVN410MAX"}, NameRow{0x5B0300, "QTR096"},
                                           NameRow{0x3E0100, "K250"}, NameRow{0x181000, "A3CAST"},
                                           NameRow{0x181001, "LX5120MAX"}, NameRow{0x5D2100, "QTR105"},
                                           NameRow{0x5D2101, "QTR106"}, NameRow{0x4D0000, "S-UNO"},
                                           NameRow{0x190000, "ORLIXA5"}, NameRow{-1, "UnknownType"}),
                         nameOfType);

INSTANTIATE_TEST_SUITE_P(WithoutOne, ErrorLogName,
                         ::testing::Values(NameRow{0x7A4200, ""}, NameRow{0, ""}, NameRow{-2, ""}, NameRow{0x1401, ""},
                                           NameRow{0x13FF, ""}, NameRow{0x181002, ""}, NameRow{0x1900, ""},
                                           NameRow{INT_MAX, ""}, NameRow{INT_MIN, ""}),
                         nameOfType);

// --- The file -------------------------------------------------------------------------

TEST_F(ErrorLog, TheFirstCallMakesTheFolderAndTheFileAndNothingElse)
{
    worker.writeErrorLog(reply());
    EXPECT_EQ(entriesOf(folder.path()), QStringList{QStringLiteral("Errorlog")});
    EXPECT_EQ(entriesOf(folder.path(QStringLiteral("Errorlog"))), QStringList{QStringLiteral("20240506.log")});
}

TEST_F(ErrorLog, LaterCallsOfTheDayAppendAndTheFirstAfterMidnightStartsANewFile)
{
    time.setWallClock(QDateTime(QDate(2024, 5, 6), QTime(23, 59, 59, 998)));
    worker.writeErrorLog(reply());
    time.advance(milliseconds(1));
    worker.writeErrorLog(reply());
    time.advance(milliseconds(1));
    worker.writeErrorLog(reply());
    EXPECT_EQ(today().count('\n'), 2);
    EXPECT_TRUE(
        contentOf(QStringLiteral("Errorlog/20240507.log")).startsWith("[UnknownType][2024-05-07 00:00:00 000]<"));
}

TEST_F(ErrorLog, ACallThatStraddlesMidnightPutsTheNewDaysTimeIntoTheOldDaysFile)
{
    time.setNextWallClockReadings(
        {QDateTime(QDate(2024, 12, 31), QTime(23, 59, 59, 999)), QDateTime(QDate(2025, 1, 1), QTime(0, 0, 0, 1))});
    worker.writeErrorLog(reply());
    EXPECT_EQ(entriesOf(folder.path(QStringLiteral("Errorlog"))), QStringList{QStringLiteral("20241231.log")});
    EXPECT_TRUE(contentOf(QStringLiteral("Errorlog/20241231.log")).contains("[2025-01-01 00:00:00 001]"));
    EXPECT_EQ(time.wallClockReadings(), 2);
}

TEST_F(ErrorLog, TheDayIsTheLocalOne)
{
    const QByteArray before = qgetenv("TZ");
    qputenv("TZ", "XYZ-13");
    tzset();
    time.setWallClock(QDateTime(QDate(2024, 5, 6), QTime(20, 0), Qt::UTC));
    worker.writeErrorLog(reply());
    if (before.isNull()) {
        qunsetenv("TZ");
    } else {
        qputenv("TZ", before);
    }
    tzset();
    EXPECT_TRUE(contentOf(QStringLiteral("Errorlog/20240507.log")).contains("[2024-05-07 09:00:00 000]"));
}

TEST_F(ErrorLog, WhatTheFileHeldStaysInFront)
{
    QDir(folder.path()).mkdir(QStringLiteral("Errorlog"));
    makeFile(folder.path(QStringLiteral("Errorlog/20240506.log")), "before");
    worker.writeErrorLog(reply());
    EXPECT_TRUE(today().startsWith("before[UnknownType]["));
}

TEST_F(ErrorLog, FollowsTheWorkingDirectory)
{
    worker.writeErrorLog(reply());
    ASSERT_TRUE(QDir(folder.path()).mkdir(QStringLiteral("elsewhere")));
    ASSERT_TRUE(QDir::setCurrent(folder.path(QStringLiteral("elsewhere"))));
    worker.writeErrorLog(reply());
    EXPECT_EQ(today().count('\n'), 1);
    EXPECT_EQ(contentOf(QStringLiteral("elsewhere/Errorlog/20240506.log")).count('\n'), 1);
}

TEST_F(ErrorLog, AFolderThatWasRemovedIsMadeAgain)
{
    worker.writeErrorLog(reply());
    ASSERT_TRUE(QDir(folder.path(QStringLiteral("Errorlog"))).removeRecursively());
    worker.writeErrorLog(reply());
    EXPECT_EQ(today().count('\n'), 1);
}

TEST_F(ErrorLog, APlainFileInTheFoldersPlaceSwallowsTheLineSilently)
{
    makeFile(folder.path(QStringLiteral("Errorlog")), "mine");
    EXPECT_NO_THROW(worker.writeErrorLog(reply()));
    EXPECT_EQ(contentOf(QStringLiteral("Errorlog")), QByteArray("mine"));
    EXPECT_TRUE(journal.lines().empty());
}

TEST_F(ErrorLog, AFileThatCannotBeOpenedSwallowsTheLineSilently)
{
    QDir(folder.path()).mkpath(QStringLiteral("Errorlog/20240506.log")); // a folder of the file's name
    EXPECT_NO_THROW(worker.writeErrorLog(reply()));
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_EQ(entriesOf(folder.path(QStringLiteral("Errorlog"))), QStringList{QStringLiteral("20240506.log")});
}

TEST_F(ErrorLog, AFullDiskSwallowsTheLineSilently)
{
    {
        const FullDisk fullDisk;
        EXPECT_NO_THROW(worker.writeErrorLog(reply(QByteArray(100000, 'x'))));
        EXPECT_GE(fullDisk.refusals(), 1);
    }
    EXPECT_EQ(journal.lines(), Lines());
    EXPECT_EQ(today(), QByteArray());
}

TEST_F(ErrorLog, ADiskThatFillsUpInsideALineKeepsWhatItHadRoomFor)
{
    {
        const FullDisk fullDisk(30);
        EXPECT_NO_THROW(worker.writeErrorLog(reply("1")));
        EXPECT_GE(fullDisk.refusals(), 1);
    }
    EXPECT_EQ(journal.lines(), Lines());
    EXPECT_EQ(today(), QByteArray("[UnknownType][2024-05-06 14:03"));
}

TEST_F(ErrorLog, AFullDiskKeepsNoLaterReplyFromTheHost)
{
    biz_CMDSWork::deviceType = typeOfRefusedReply;
    pushReply(refusedReply(1));
    pushReply(acceptedReply(2));
    {
        const FullDisk fullDisk;
        receivePasses(2);
        EXPECT_GE(fullDisk.refusals(), 1);
    }
    EXPECT_EQ(signals.tagsOf("signalSendReceiveMessage"), Tags{2});
}

TEST_F(ErrorLog, LinesAreWrittenAgainOnceTheDiskHasRoom)
{
    {
        const FullDisk fullDisk;
        worker.writeErrorLog(reply("1"));
        EXPECT_GE(fullDisk.refusals(), 1);
    }
    worker.writeErrorLog(reply("2"));
    EXPECT_EQ(today(), QByteArray("[UnknownType][2024-05-06 14:03:22 517]<0a 01 00 02 10>32\n"));
}

/** The superuser may write anywhere; false when he cannot step down. For a process that ends soon. */
bool stepDown()
{
    constexpr uid_t nobody = 65534;
    return geteuid() != 0 || seteuid(nobody) == 0;
}

TEST_F(ErrorLog, AVanishedWorkingDirectorySwallowsTheLineSilently)
{
    const auto writeWithoutADirectory = [this] {
        const QString place = folder.path(QStringLiteral("vanished"));
        QDir().mkdir(place);
        QDir::setCurrent(place);
        QDir().rmdir(place);
        // The log would be beside the root then.
        const bool mayNotWrite = stepDown();
        worker.writeErrorLog(reply());
        _exit(mayNotWrite && journal.lines().empty() ? 0 : 1);
    };
    EXPECT_EXIT(writeWithoutADirectory(), ::testing::ExitedWithCode(0), "");
}

TEST_F(ErrorLog, AnUnwritableWorkingDirectorySwallowsTheLineSilently)
{
    const QString place = folder.path(QStringLiteral("unwritable"));
    QDir().mkdir(place);
    chmod(qPrintable(folder.path()), 0755);
    chmod(qPrintable(place), 0555);
    const auto writeWithoutARight = [this, place] {
        QDir::setCurrent(place);
        const bool mayNotWrite = stepDown();
        worker.writeErrorLog(reply());
        _exit(mayNotWrite && journal.lines().empty() && entriesOf(place).isEmpty() ? 0 : 1);
    };
    EXPECT_EXIT(writeWithoutARight(), ::testing::ExitedWithCode(0), "");
}

TEST_F(ErrorLog, TheClockIsReadOnceWhenTheFileCannotBeOpened)
{
    makeFile(folder.path(QStringLiteral("Errorlog")), "mine");
    worker.writeErrorLog(reply());
    EXPECT_EQ(time.wallClockReadings(), 1);
}

TEST_F(ErrorLog, LinesOfTwoObjectsStandInOneFile)
{
    worker.writeErrorLog(reply("1"));
    otherWorker.writeErrorLog(reply("2"));
    worker.writeErrorLog(reply("3"));
    EXPECT_EQ(today().count('\n'), 3);
    EXPECT_TRUE(today().endsWith(">33\n"));
}

TEST_F(ErrorLog, ChangesNoStateAndEmitsNothing)
{
    worker.writeErrorLog(reply("1"));
    const DeviceChannelGuard stillFresh;
    EXPECT_TRUE(worker.m_curRecv.baData.isEmpty());
    EXPECT_TRUE(journal.lines().empty());
}

// --- Digits ---------------------------------------------------------------------------

class ErrorLogLocale : public ErrorLog, public ::testing::WithParamInterface<QLocale::Language>
{
protected:
    void SetUp() override { QLocale::setDefault(QLocale(GetParam())); }
    void TearDown() override
    {
        QLocale::setDefault(m_before);
        ErrorLog::TearDown();
    }

private:
    QLocale m_before;
};

TEST_P(ErrorLogLocale, DoesNotChangeTheDigitsOfFileAndLine)
{
    worker.writeErrorLog(reply("1"));
    EXPECT_EQ(today(), QByteArray("[UnknownType][2024-05-06 14:03:22 517]<0a 01 00 02 10>31\n"));
}

INSTANTIATE_TEST_SUITE_P(Languages, ErrorLogLocale,
                         ::testing::Values(QLocale::Arabic, QLocale::Persian, QLocale::Bengali, QLocale::German,
                                           QLocale::Nepali, QLocale::Marathi, QLocale::Burmese, QLocale::Dzongkha,
                                           QLocale::Urdu, QLocale::Turkish),
                         [](const auto &language) { return QLocale::languageToString(language.param).toStdString(); });

} // namespace
