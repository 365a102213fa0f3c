#include <map>

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <gtest/gtest.h>

#include <host/device_host.h>
#include <host/event_log.h>
#include <host/outages/tcp_device.h>
#include <host/support/wait_for.h>
#include <support/full_disk.h>
#include <support/scratch_folder.h>

using namespace biz::host;
using namespace biz::test;

namespace {

/** A host with an error log and an event log, on a device whose replies all break their rule. */
class HostOnAFullDisk : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(host.setModel("A2") && host.setLink(QUrl(device.url())));
        QObject::connect(&host, &DeviceHost::ended, &host,
                         [this](Ticket ticket, const CommandResult &result) { ends[ticket] = result; });
        QObject::connect(&log, &EventLog::failed, &host, [this](const QString &why) { failures.append(why); });
        ASSERT_TRUE(host.start()) << host.errorString().toStdString();
    }

    /** Its reply is the command itself, and too short. */
    QString outcomeOfRejectedCommand()
    {
        model_Protocoldata command = makeCommand(0xF1, 0x08, QByteArray("short"));
        command.iWaitTime = 100;
        const Ticket ticket = host.enqueue(command);
        EXPECT_TRUE(waitFor([&] { return ends.count(ticket) != 0; }));
        return outcomeName(ends[ticket].outcome);
    }

    static int linesOf(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? static_cast<int>(file.readAll().count('\n')) : 0;
    }

    static int errorLogLines()
    {
        int lines = 0;
        for (const QFileInfo &file : QDir(QStringLiteral("Errorlog")).entryInfoList(QDir::Files)) {
            lines += linesOf(file.filePath());
        }
        return lines;
    }

    const ScratchFolder folder;
    TcpDevice device;
    DeviceHost host;
    EventLog log{&host, EventFile(folder.path(QStringLiteral("events.jsonl")))};
    std::map<Ticket, CommandResult> ends;
    QStringList failures;
};

} // namespace

TEST_F(HostOnAFullDisk, EndsItsCommandsAndLogsAgainWhenThereIsRoom)
{
    EXPECT_EQ(outcomeOfRejectedCommand(), "gaveUp");
    ASSERT_TRUE(log.flush());
    const int before = errorLogLines();
    EXPECT_EQ(before, 2) << "a line for each of the two replies";
    {
        const FullDisk full;
        EXPECT_EQ(outcomeOfRejectedCommand(), "gaveUp");
        ASSERT_TRUE(waitFor([this] { return !failures.isEmpty(); }));
        EXPECT_GT(full.refusals(), 0);
    }
    EXPECT_EQ(failures.size(), 1) << failures.join("; ").toStdString();
    EXPECT_EQ(errorLogLines(), before);
    const int events = linesOf(folder.path(QStringLiteral("events.jsonl")));

    EXPECT_EQ(outcomeOfRejectedCommand(), "gaveUp");
    EXPECT_EQ(errorLogLines(), before + 2);
    EXPECT_EQ(host.counters().rejected, 6U);
    ASSERT_TRUE(waitFor([&] { // it is tried again with what comes a second later
        outcomeOfRejectedCommand();
        log.flush();
        return linesOf(folder.path(QStringLiteral("events.jsonl"))) > events;
    }));
    EXPECT_EQ(failures.size(), 1);
}
