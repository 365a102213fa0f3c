#include <algorithm>
#include <csignal>

#include <QtCore/QElapsedTimer>
#include <QtNetwork/QHostAddress>

#include <gtest/gtest.h>

#include <support/process_use.h>
#include <support/scratch_folder.h>
#include <tools/support/fake_device.h>
#include <tools/support/running_console.h>
#include <tools/support/served.h>

#include <fcntl.h>
#include <unistd.h>

using namespace biz::test;

namespace {

/** The end of the input is the end of serving, within this time. */
constexpr int endLimitMs = 1000;

/** The same on a busy machine, and far from what the commands wait for. */
constexpr int endPatienceMs = endLimitMs + 9000;

class ConsoleServe : public testing::Test
{
protected:
    Served serve(const FakeDevice &device, const QStringList &furtherArguments = {}) const
    {
        return Served(QStringLiteral(BIZ_CONSOLE), QStringList{"serve", "--device", device.url()} + furtherArguments,
                      folder.path());
    }

    const ScratchFolder folder;
};

QString reasonOf(const QJsonObject &event)
{
    return event["reason"].toString();
}

} // namespace

TEST_F(ConsoleServe, BeginsWithWhatItServesAndHowThingsStand)
{
    FakeDevice device(FakeDevice::echo);
    Served served = serve(device, {"--model", "A2"});
    ASSERT_FALSE(served.waitForEvent("state").isEmpty());
    EXPECT_EQ(served.events.at(0)["event"], "start");
    EXPECT_EQ(served.events.at(0)["link"], device.url());
    EXPECT_EQ(served.events.at(0)["deviceType"], 0x1400);
    EXPECT_EQ(served.events.at(1)["event"], "state");
}

TEST_F(ConsoleServe, MetricsOfItsHostAreInTheFileWhenItEnds)
{
    FakeDevice device(FakeDevice::echo);
    Served served = serve(device, {"--metrics", "wall.prom"});
    served.give("one");
    ASSERT_FALSE(served.waitForEvent("answered", "one").isEmpty());
    served.endInput();
    EXPECT_EQ(served.exitStatus(), 0);
    QFile metrics(folder.path("wall.prom"));
    ASSERT_TRUE(metrics.open(QIODevice::ReadOnly));
    EXPECT_TRUE(metrics.readAll().contains("biz_commands_ended_total{channel=\"device\",outcome=\"answered\"} 1\n"));
}

TEST_F(ConsoleServe, ACommandIsToldByItsIdFromItsWritingToItsEnd)
{
    FakeDevice device(FakeDevice::echo);
    Served served = serve(device);
    served.give("my name", R"(,"data":"01 FE")");
    const QJsonObject end = served.waitForEvent("answered", "my name");
    EXPECT_EQ(end["data"], "01 FE");
    EXPECT_EQ(end["command"], "F1/00");
    EXPECT_EQ(end["attempts"], 1);

    QStringList told;
    for (const QJsonObject &event : served.events) {
        if (event["id"] == "my name") {
            told.append(event["event"].toString());
        }
    }
    EXPECT_EQ(told, (QStringList{"given", "writing", "sent", "answered"}));
}

TEST_F(ConsoleServe, WritingIsToldBeforeTheDeviceHasTheCommand)
{
    Served *heard = nullptr;
    bool wasTold = false;
    FakeDevice device([&](FakeDevice &self, const model_Protocoldata &command) {
        // What had left before the write is in the pipe by now.
        heard->process().waitForReadyRead(0);
        heard->readOn();
        wasTold = !heard->find("writing").isEmpty();
        self.send(command);
    });
    Served served = serve(device);
    heard = &served;
    served.give("7");
    ASSERT_FALSE(served.waitForEvent("answered").isEmpty());
    EXPECT_TRUE(wasTold);
}

TEST_F(ConsoleServe, ABadLineIsRefusedWithItsNumberAndChangesNothingElse)
{
    FakeDevice device(FakeDevice::echo);
    Served served = serve(device);
    served.say("nonsense");
    served.say(R"({"do":"command","id":"8","head":"F1"})");
    served.give("7");
    ASSERT_FALSE(served.waitForEvent("answered", "7").isEmpty());
    const QJsonObject nonsense = served.find("error");
    EXPECT_EQ(nonsense["line"], 1);
    EXPECT_TRUE(reasonOf(nonsense).startsWith("a JSON object expected")) << qPrintable(reasonOf(nonsense));
    const QJsonObject badHead = served.find("error", "8");
    EXPECT_EQ(badHead["line"], 2);
    EXPECT_TRUE(reasonOf(badHead).startsWith("head: 6 bytes")) << qPrintable(reasonOf(badHead));
    EXPECT_EQ(device.commands(), 1);
}

TEST_F(ConsoleServe, AUsedIdIsRefusedAlsoAfterTheEndOfItsCommand)
{
    FakeDevice device(FakeDevice::echo);
    Served served = serve(device);
    served.give("7");
    ASSERT_FALSE(served.waitForEvent("answered", "7").isEmpty());
    served.give("7");
    EXPECT_FALSE(served.waitForEvent("error", "7").isEmpty());
    EXPECT_EQ(device.commands(), 1);
}

TEST_F(ConsoleServe, ALineThatIsTooLongIsRefusedAndTheNextOneTaken)
{
    FakeDevice device(FakeDevice::echo);
    Served served = serve(device);
    served.say(QByteArray(300'000, 'x'));
    served.give("7");
    EXPECT_FALSE(served.waitForEvent("answered", "7").isEmpty());
    EXPECT_TRUE(reasonOf(served.find("error")).contains("262144"));
}

TEST_F(ConsoleServe, ACommandIsCancelledByItsId)
{
    FakeDevice device(FakeDevice::stayAway);
    Served served = serve(device);
    served.give("first", R"(,"waitMs":60000)");
    served.give("second");
    ASSERT_FALSE(served.waitForEvent("sent", "first").isEmpty());
    served.say(R"({"do":"cancel","id":"second"})");
    EXPECT_FALSE(served.waitForEvent("cancelled", "second").isEmpty());
    served.say(R"({"do":"cancel","id":"third"})");
    EXPECT_FALSE(served.waitForEvent("error", "third").isEmpty());
    served.say(R"({"do":"clear"})");
    EXPECT_FALSE(served.waitForEvent("cleared", "first").isEmpty());
}

TEST_F(ConsoleServe, OptionsOfACommandAreObeyed)
{
    FakeDevice device(FakeDevice::stayAway);
    Served served = serve(device);
    served.give("first", R"(,"waitMs":60000)");
    ASSERT_FALSE(served.waitForEvent("sent", "first").isEmpty());
    served.give("old", R"(,"replaceKey":"k")");
    served.give("new", R"(,"replaceKey":"k")");
    EXPECT_FALSE(served.waitForEvent("superseded", "old").isEmpty());
}

TEST_F(ConsoleServe, CountersAreToldWhenAskedFor)
{
    FakeDevice device(FakeDevice::echo);
    Served served = serve(device);
    served.give("7");
    ASSERT_FALSE(served.waitForEvent("answered", "7").isEmpty());
    served.events.clear();
    served.say(R"({"do":"counters"})");
    EXPECT_EQ(served.waitForEvent("state")["counters"].toObject()["answered"], 1);
}

TEST_F(ConsoleServe, StopEndsWhatIsPendingAndItself)
{
    FakeDevice device(FakeDevice::stayAway);
    Served served = serve(device);
    served.give("7", R"(,"waitMs":60000)");
    ASSERT_FALSE(served.waitForEvent("sent", "7").isEmpty());
    served.say(R"({"do":"stop"})");
    EXPECT_EQ(served.exitStatus(endPatienceMs), 0);
    EXPECT_FALSE(served.find("stopped", "7").isEmpty());
    EXPECT_EQ(served.events.last()["event"], "summary");
    EXPECT_EQ(served.events.last()["counters"].toObject()["stopped"], 1);
}

TEST_F(ConsoleServe, TheEndOfTheInputIsAStop)
{
    FakeDevice device(FakeDevice::stayAway);
    Served served = serve(device);
    served.give("7", R"(,"waitMs":60000)");
    ASSERT_FALSE(served.waitForEvent("sent", "7").isEmpty());
    served.endInput();
    EXPECT_EQ(served.exitStatus(endPatienceMs), 0);
    EXPECT_FALSE(served.find("stopped", "7").isEmpty());
}

TEST_F(ConsoleServe, ASignalIsAStop)
{
    FakeDevice device(FakeDevice::stayAway);
    Served served = serve(device);
    served.give("7", R"(,"waitMs":60000)");
    ASSERT_FALSE(served.waitForEvent("sent", "7").isEmpty());
    kill(static_cast<pid_t>(served.process().processId()), SIGTERM);
    EXPECT_EQ(served.exitStatus(endPatienceMs), 0);
    EXPECT_FALSE(served.find("stopped", "7").isEmpty());
}

TEST_F(ConsoleServe, AnOutputThatCannotBeWrittenIsToldAndAStatus)
{
    QProcess console;
    console.setStandardInputFile(QProcess::nullDevice());
    console.setStandardOutputFile("/dev/full");
    console.start(QStringLiteral(BIZ_CONSOLE), {"serve", "--device", "tcp://127.0.0.1:1"});
    ASSERT_TRUE(console.waitForFinished());
    EXPECT_EQ(console.exitCode(), 1);
    EXPECT_EQ(console.readAllStandardError(),
              "biz_console: lines of the output could not be written, or were not read in time\n");
}

TEST_F(ConsoleServe, OsdCommandsNameTheirDevices)
{
    Served served(QStringLiteral(BIZ_CONSOLE), {"serve", "--osd", "--port", "9"}, folder.path());
    served.say(R"({"do":"command","id":"1","device":"127.1","head":"0D 01 00 00 00 00 00 00 00 00 00"})");
    EXPECT_TRUE(reasonOf(served.waitForEvent("error", "1")).contains("127.1"));
    served.say(R"({"do":"command","id":"2","device":"127.0.0.1","head":"0D 01 00 00 00 00 00 00 00 00 00"})");
    EXPECT_EQ(served.waitForEvent("writing", "2")["device"], "127.0.0.1");
    served.say(R"({"do":"stop"})");
    EXPECT_EQ(served.exitStatus(endPatienceMs), 0);
}

TEST_F(ConsoleServe, AWrongOptionIsOneLineAndAnExitStatus)
{
    RunningConsole console({"serve", "--device", "tcp://127.0.0.1:1", "--bind", "127.0.0.1"});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.errors(),
              "biz_console: --bind is for OSD devices, with --osd\nTry 'biz_console serve --help'.\n");
}

namespace {

/** Of a process, in KiB. */
qint64 memoryKiB(qint64 processId)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(processId));
    if (!status.open(QIODevice::ReadOnly)) {
        return -1;
    }
    const QList<QByteArray> lines = status.readAll().split('\n');
    const auto found =
        std::find_if(lines.begin(), lines.end(), [](const QByteArray &line) { return line.startsWith("VmRSS:"); });
    return found == lines.end() ? -1 : found->split(':').at(1).trimmed().split(' ').first().toLongLong();
}

/** A worker behind pipes of the test's own, whose output nobody reads until the test does. */
class UnreadServe : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(pipe2(m_input, O_CLOEXEC), 0);
        ASSERT_EQ(pipe2(m_output, O_CLOEXEC), 0);
        fcntl(m_input[1], F_SETFL, O_NONBLOCK);
        fcntl(m_output[0], F_SETFL, O_NONBLOCK);
        const auto end = [](int descriptor) {
            return QStringLiteral("/proc/%1/fd/%2").arg(getpid()).arg(descriptor);
        };
        m_process.setStandardInputFile(end(m_input[0]));
        m_process.setStandardOutputFile(end(m_output[1]));
        m_process.start(QStringLiteral(BIZ_CONSOLE), {"serve", "--device", device.url()});
        ASSERT_TRUE(m_process.waitForStarted());
        close(m_input[0]);
        close(m_output[1]);
    }

    void TearDown() override
    {
        m_process.kill();
        m_process.waitForFinished();
        closeInput();
        close(m_output[0]);
    }

    void closeInput() { close(std::exchange(m_input[1], -1)); }

    /** Bytes that the worker has taken before it takes no more. */
    qint64 giveUntilItTakesNoMore()
    {
        constexpr int standstillMs = 500;
        const QByteArray badLine(100, 'x');
        QElapsedTimer standstill;
        standstill.start();
        qint64 given = 0;
        waitFor([&] {
            while (write(m_input[1], badLine.constData(), static_cast<size_t>(badLine.size())) > 0) {
                (void)!write(m_input[1], "\n", 1);
                given += badLine.size();
                standstill.restart();
            }
            return standstill.elapsed() >= standstillMs;
        });
        return given;
    }

    void say(const QByteArray &line)
    {
        const auto size = static_cast<size_t>(line.size());
        ASSERT_EQ(write(m_input[1], line.constData(), size), static_cast<ssize_t>(size));
    }

    /** Commands that fit into the input and whose events do not fill the output. */
    static constexpr int batchSize = 500;

    void giveBatch(int batch)
    {
        for (int number = 0; number < batchSize; ++number) {
            say(R"({"do":"command","id":")" + QByteArray::number(batch * batchSize + number) +
                "\",\"head\":\"F1 00 01 16 00 00\",\"waitMs\":60000}\n");
        }
    }

    /** As much as leaves room for one more write of the worker's. */
    QByteArray readSome()
    {
        char bytes[4096];
        const auto size = read(m_output[0], bytes, sizeof(bytes));
        return QByteArray(bytes, static_cast<int>(std::max<ssize_t>(size, 0)));
    }

    QByteArray readAll()
    {
        QByteArray all;
        char bytes[4096];
        for (auto size = read(m_output[0], bytes, sizeof(bytes)); size > 0;
             size = read(m_output[0], bytes, sizeof(bytes))) {
            all.append(bytes, static_cast<int>(size));
        }
        return all;
    }

    FakeDevice::Behaviour behaviour = FakeDevice::echo;
    FakeDevice device{[this](FakeDevice &self, const model_Protocoldata &command) {
        behaviour(self, command);
    }};
    QProcess m_process;

    int m_input[2] = {-1, -1};

private:
    int m_output[2] = {-1, -1};
};

} // namespace

TEST_F(UnreadServe, TakesNoMoreInputUntilItIsRead)
{
    constexpr qint64 farMoreThanIsHeld = 8 * 1024 * 1024;
    EXPECT_LT(giveUntilItTakesNoMore(), farMoreThanIsHeld);
    EXPECT_TRUE(waitFor([this] {
        readAll();
        return write(m_input[1], "x\n", 2) == 2;
    }));
}

TEST_F(UnreadServe, EndsWithItsInputAllTheSame)
{
    giveUntilItTakesNoMore();
    closeInput();
    EXPECT_TRUE(waitFor([this] { return m_process.state() == QProcess::NotRunning; }, endPatienceMs));
    EXPECT_EQ(m_process.exitCode(), 1) << "lines are missing";
}

TEST_F(UnreadServe, HoldsSoMuchForItsClientHoweverOftenTheDeviceRepeatsAReply)
{
    constexpr int repeats = 200; // of replies whose lines have 180 kB each
    constexpr qint64 mayGrowByKiB = 24 * 1024;
    model_Protocoldata reply;
    behaviour = [&reply](FakeDevice &self, const model_Protocoldata &command) {
        reply = command;
        reply.baData = QByteArray(60'000, 'x');
        self.send(command);
    };
    say("{\"do\":\"command\",\"id\":\"7\",\"head\":\"F1 00 01 16 00 00\"}\n");
    ASSERT_TRUE(waitFor([this] { return device.commands() == 1; }));
    const qint64 before = memoryKiB(m_process.processId());
    int sent = 0;
    ASSERT_TRUE(waitFor([&] {
        device.send(reply);
        return ++sent == repeats;
    }));
    if (!keepsFreedMemory) {
        EXPECT_LT(memoryKiB(m_process.processId()) - before, mayGrowByKiB);
    }
    say(R"({"do":"stop"})"
        "\n");
    QByteArray told;
    EXPECT_TRUE(waitFor([&] {
        told += readAll();
        return told.contains(R"("event":"summary")");
    }));
    EXPECT_TRUE(told.contains(R"("event":"lost")")) << "some are missing, and the client is not told";
    EXPECT_TRUE(told.contains(R"("event":"answered")"));
}

TEST_F(UnreadServe, TellsAClientThatReadsSlowlyEveryEndAfterAStop)
{
    constexpr int batches = 10;
    behaviour = FakeDevice::stayAway;
    QByteArray told;
    for (int batch = 0; batch < batches; ++batch) {
        giveBatch(batch);
        ASSERT_TRUE(waitFor([&] {
            told += readAll();
            return told.count(R"("event":"given")") == (batch + 1) * batchSize;
        }));
    }
    say(R"({"do":"stop"})"
        "\n");
    QElapsedTimer clock;
    clock.start();
    EXPECT_TRUE(waitFor([&] {
        told += readSome();
        return told.contains(R"("event":"summary")");
    }));
    EXPECT_GT(clock.elapsed(), endLimitMs) << "no slow client";
    EXPECT_EQ(told.count(R"("event":"stopped")"), batches * batchSize);
    EXPECT_TRUE(waitFor([this] { return m_process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(m_process.exitCode(), 0);
}

TEST_F(UnreadServe, EndsAfterAStopWhenNobodyReadsAndSaysThatLinesAreMissing)
{
    behaviour = FakeDevice::stayAway;
    giveBatch(0);
    say(R"({"do":"stop"})"
        "\n");
    EXPECT_TRUE(waitFor([this] { return m_process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(m_process.exitCode(), 1);
}
