#include <atomic>

#include <QtCore/QMetaMethod>
#include <QtCore/QThread>

#include <biz_cmdswork/biz_cmdswork.h>

#include "device_host_fixture.h"
#include <host/support/on_thread.h>
#include <host/support/thread_sanitizer.h>

using namespace biz::host;
using namespace biz::test;

namespace {

class DeviceHostObject : public DeviceHostFixture
{
};

} // namespace

// --- One per process -----------------------------------------------------------------------

TEST_F(DeviceHostObject, ASecondHostIsRefusedAndChangesNothing)
{
    ASSERT_TRUE(host->setModel("A2"));
    const int deviceTypeA2 = biz_CMDSWork::deviceType;
    {
        DeviceHost second;
        EXPECT_FALSE(second.isValid());
        EXPECT_EQ(second.error(), Error::ChannelTaken);
        EXPECT_TRUE(second.errorString().contains("held")) << second.errorString().toStdString();
        EXPECT_FALSE(second.setModel("A3"));
        EXPECT_FALSE(second.setLink(std::make_unique<FakeLink>()));
        EXPECT_FALSE(second.start());
        EXPECT_EQ(second.enqueue(command(longWaitMs)), 0U);
        EXPECT_EQ(second.error(), Error::ChannelTaken);
        EXPECT_FALSE(second.cancel(1));
        second.setDeviceType(-1);
        second.setPipelined(true);
        second.setWhileDown(WhileDown::Hold);
        EXPECT_FALSE(second.setSettleTime(1));
        EXPECT_FALSE(second.setDefaultWaitTime(1));
        EXPECT_FALSE(second.setReconnectInterval(1));
        EXPECT_EQ(second.error(), Error::ChannelTaken);
        second.clear();
        second.setSkipping(true);
        EXPECT_TRUE(second.stop().clean());
        EXPECT_EQ(second.counters().enqueued, 0U);
    }
    EXPECT_TRUE(host->isValid());
    EXPECT_EQ(biz_CMDSWork::deviceType, deviceTypeA2);
    EXPECT_EQ(biz_CMDSWork::nSysPlan, 0);
    host->setDeviceType(-1);
    answerEverything();
    start();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostObject, ANewHostBeginsWithTheDefaults)
{
    ASSERT_TRUE(host->setModel("A2"));
    host->setPipelined(true);
    makeHost();
    EXPECT_TRUE(host->isValid());
    EXPECT_EQ(host->error(), Error::None);
    EXPECT_EQ(biz_CMDSWork::deviceType, -1);
    EXPECT_EQ(biz_CMDSWork::nSysPlan, 0);
}

TEST_F(DeviceHostObject, TicketsCountUpOverAllHosts)
{
    const Ticket former = enqueue();
    makeHost();
    EXPECT_GT(enqueue(), former);
}

// --- Signals ------------------------------------------------------------------------------

TEST_F(DeviceHostObject, QueuedConnectionsToAnotherThreadCarryTheValues)
{
    if (isUnderThreadSanitizer) {
        GTEST_SKIP() << "the copy of the result goes from thread to thread by a lock inside Qt";
    }
    QThread thread;
    QObject receiver;
    receiver.moveToThread(&thread);
    std::atomic<Ticket> heard{0};
    std::atomic<bool> onItsThread{false};
    QObject::connect(host.get(), &DeviceHost::ended, &receiver, [&](Ticket ticket, const CommandResult &result) {
        onItsThread = QThread::currentThread() == &thread && result.reply.baData == "payload";
        heard = ticket;
    });
    std::atomic<bool> threadRuns{false};
    QObject::connect(
        &thread, &QThread::started, &thread, [&] { threadRuns = true; }, Qt::DirectConnection);
    thread.start();
    ASSERT_TRUE(waitFor([&] { return threadRuns.load(); }));
    answerEverything();
    start();
    const Ticket ticket = enqueue(command(longWaitMs, "payload"));
    EXPECT_TRUE(waitFor([&] { return heard == ticket; }));
    EXPECT_TRUE(onItsThread);
    thread.quit();
    thread.wait();
}

TEST_F(DeviceHostObject, EverySignalCanBeQueuedByName)
{
    // What a queued connection by name needs is looked up by the text of the signature.
    const QMetaObject &type = DeviceHost::staticMetaObject;
    int parameters = 0;
    for (int method = type.methodOffset(); method < type.methodCount(); ++method) {
        const QMetaMethod signal = type.method(method);
        for (int i = 0; signal.methodType() == QMetaMethod::Signal && i < signal.parameterCount(); ++i, ++parameters) {
            EXPECT_NE(signal.parameterType(i), QMetaType::UnknownType) << signal.methodSignature().constData();
        }
    }
    EXPECT_GT(parameters, 0);
}

TEST_F(DeviceHostObject, AHostThatIsMovedToAnotherThreadSpeaksThere)
{
    QThread thread;
    thread.start();
    answerEverything();
    host->moveToThread(&thread);
    QObject context;
    context.moveToThread(&thread);
    std::atomic<bool> answered{false};
    QObject::connect(
        host.get(), &DeviceHost::ended, host.get(),
        [&](Ticket, const CommandResult &result) {
            answered = QThread::currentThread() == &thread && result.outcome == Outcome::Answered;
        },
        Qt::DirectConnection);
    // From here on the host is called on its own thread only.
    runOnThreadOf(&context, [&] {
        EXPECT_TRUE(host->start());
        given.insert(host->enqueue(command(longWaitMs)));
    });
    EXPECT_TRUE(waitFor([&] { return answered.load(); }));
    runOnThreadOf(&context, [&] { host.reset(); });
    thread.quit();
    thread.wait();
}

TEST_F(DeviceHostObject, ASlotThatAlwaysBringsAboutTheNextSignalLeavesTheEventLoopItsTurn)
{
    constexpr std::size_t farTooMany = 20000;
    bool timerHadItsTurn = false;
    const auto enqueueNext = [&] {
        if (!timerHadItsTurn && given.size() < farTooMany) {
            given.insert(host->enqueue(command(longWaitMs))); // skipped at once, which is told
        }
    };
    seen.onSignal = [&](const DeviceHostRecorder::Event & /*event*/) {
        enqueueNext();
    };
    host->setSkipping(true);
    enqueueNext();
    QTimer::singleShot(0, [&] { timerHadItsTurn = true; });
    ASSERT_TRUE(waitFor([&] { return timerHadItsTurn; }));
    EXPECT_LT(given.size(), farTooMany);
    seen.onSignal = nullptr;
}

TEST_F(DeviceHostObject, ASlotMayRunAnEventLoopOfItsOwn)
{
    answerEverything();
    start();
    bool wasHeardInside = false;
    QObject::connect(host.get(), &DeviceHost::foreign, host.get(), [&] {
        // A dialogue, say: what ends meanwhile is heard inside it.
        const Ticket ticket = enqueue();
        wasHeardInside = waitForEnd(ticket);
    });
    link->reply(command(longWaitMs));
    EXPECT_TRUE(waitFor([&] { return wasHeardInside; }));
}
