#include <cerrno>
#include <fstream>
#include <mutex>
#include <system_error>

#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <gtest/gtest.h>

#include <support/channel_state_guard.h>
#include <support/lock_probe.h>
#include <support/message_recorder.h>
#include <support/scratch_folder.h>
#include <support/signal_recorder.h>

using namespace biz::test;
using std::string;
using std::vector;

namespace {

TEST(HeldLocks, NamesTheLocksThatTheCallerHolds)
{
    EXPECT_TRUE(heldOf(deviceChannelLocks()).empty());
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
    EXPECT_EQ(heldOf(deviceChannelLocks()), vector<string>{"receiveHexCmdlock"});
}

TEST(MessageRecorder, TakesTextsWithTheirQuotesAndTheLocksHeld)
{
    const MessageRecorder recorder(deviceChannelLocks());
    qDebug() << "plain";
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        qDebug() << QStringLiteral("quoted");
    }
    EXPECT_EQ(recorder.texts(), (vector<string>{"plain", "\"quoted\""}));
    EXPECT_TRUE(recorder.messages().at(0).heldLocks.empty());
    EXPECT_EQ(recorder.messages().at(1).heldLocks, vector<string>{"HexCmdlock"});
}

TEST(SignalRecorder, CopiesTheRecordDuringTheEmission)
{
    DeviceSignals recorder(deviceChannelLocks());
    biz_CMDSWork worker;
    recorder.attach(worker);
    worker.m_curSend.nTag = 7;
    Q_EMIT worker.signalSendMessage(&worker.m_curSend);
    worker.m_curSend.nTag = 8;
    EXPECT_EQ(recorder.tagsOf("signalSendMessage"), vector<int>{7});
    EXPECT_EQ(recorder.events().at(0).address, &worker.m_curSend);
}

TEST(LockProbe, SeesInterruptsAndFailsTheWatchedLockOnly)
{
    Journal journal;
    LockProbe probe({deviceChannelLocks().front()}, &journal);
    probe.beforeLock("HexCmdlock", 2, [&journal] { journal.add("in between"); });
    for (int i = 0; i < 2; ++i) {
        const std::lock_guard<std::mutex> unwatched(biz_CMDSWork::receiveHexCmdlock);
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    }
    const vector<string> expected{"lock HexCmdlock", "unlock HexCmdlock", "in between", "lock HexCmdlock",
                                  "unlock HexCmdlock"};
    EXPECT_EQ(journal.lines(), expected);

    probe.failLock("HexCmdlock", 1, EINVAL);
    EXPECT_THROW(biz_CMDSWork::HexCmdlock.lock(), std::system_error);
    biz_CMDSWork::HexCmdlock.lock();
    biz_CMDSWork::HexCmdlock.unlock();
}

TEST(ScratchFolder, IsTheWorkingDirectoryAndLeavesNothingBehind)
{
    const QString before = QDir::currentPath();
    QString path;
    {
        const ScratchFolder folder;
        path = folder.path();
        EXPECT_EQ(QDir::current().canonicalPath(), QDir(path).canonicalPath());
        std::ofstream(folder.path(QStringLiteral("file")).toStdString()) << "text";
    }
    EXPECT_EQ(QDir::currentPath(), before);
    EXPECT_FALSE(QFileInfo::exists(path));
}

} // namespace
