#include <gtest/gtest.h>

#include <csignal>
#include <memory>

#include <sys/resource.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryFile>
#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QUdpSocket>

#include <host/osd_datagram_codec.h>
#include <tools/support/link_client.h>
#include <tools/support/running_simulator.h>

// The built program, over real sockets on loopback.

namespace {

using namespace biz::test;
namespace host = biz::host;

/** How long to listen for a reply that must not come, behind one that came. */
constexpr int quietMs = 100;

/** A host's socket for OSD devices. */
class UdpClient
{
public:
    explicit UdpClient(quint16 devicePort)
        : m_devicePort(devicePort)
    {
        m_socket.bind(QHostAddress(QHostAddress::LocalHost), 0);
    }

    void send(const QString &device, int number)
    {
        model_OsdParam command;
        command.ucOsdHead[0] = 0x0D;
        command.ucOsdHead[10] = static_cast<uchar>(number);
        command.ucOsdFlag = 9;
        command.baData = "text";
        sendBytes(device, host::OsdDatagramCodec::encode(command));
    }

    void sendBytes(const QString &device, const QByteArray &bytes)
    {
        m_socket.writeDatagram(bytes, QHostAddress(device), m_devicePort);
    }

    /** The next reply, `qsIp` holding who sent it; none when none comes in time. */
    std::optional<model_OsdParam> reply(int waitMs = patienceMs)
    {
        if (!m_socket.hasPendingDatagrams() && !m_socket.waitForReadyRead(waitMs)) {
            return std::nullopt;
        }
        const QNetworkDatagram datagram = m_socket.receiveDatagram();
        model_OsdParam record;
        QString reason;
        if (!host::OsdDatagramCodec::decode(datagram.data(), &record, &reason)) {
            ADD_FAILURE() << reason.toStdString();
        }
        record.qsIp = datagram.senderAddress().toString();
        return record;
    }

private:
    QUdpSocket m_socket;
    quint16 m_devicePort;
};

// --- TCP -----------------------------------------------------------------------------

TEST(SimulatorProcess, TakesAFreePortAndPrintsIt)
{
    RunningSimulator simulator("--model A2 --port 0");
    const QString line = simulator.nextLine();
    EXPECT_TRUE(line.startsWith("listening on tcp://127.0.0.1:")) << line.toStdString();
    EXPECT_FALSE(line.endsWith(":0"));
}

TEST(SimulatorProcess, AnswersConnectionsAtOnceAndOneAfterTheOther)
{
    RunningSimulator simulator("--model K250 --port 0");
    const QString url = simulator.listeningUrl();
    auto first = std::make_unique<LinkClient>(url);
    LinkClient second(url);
    first->send(commandOf(1, 0x68, 0x08));
    second.send(commandOf(2, 0x68, 0x08));
    EXPECT_EQ(second.nextSequences(1), "2");
    EXPECT_EQ(first->nextSequences(1), "1");

    first.reset();
    LinkClient third(url);
    third.send(commandOf(3, 0x68, 0x08));
    EXPECT_EQ(third.nextSequences(1), "3");
}

TEST(SimulatorProcess, FindsCommandsBetweenGarbage)
{
    RunningSimulator simulator("--model A2 --port 0 --events");
    LinkClient client(simulator.listeningUrl());
    const QByteArray frame = client.bytesOf(commandOf(7, 0x68, 0x12));
    client.sendBytes(QByteArray("junk", 5) + frame.left(5));
    client.sendBytes(frame.mid(5));
    EXPECT_EQ(client.nextSequences(1), "7");
    EXPECT_FALSE(simulator.lineWith("tcp refused 4 bytes").isEmpty());
}

TEST(SimulatorProcess, NumberedSilenceSkipsOneReplyAndAResendCountsAsAReception)
{
    RunningSimulator simulator("--model A2 --port 0 --fault 2=silence");
    LinkClient client(simulator.listeningUrl());
    for (const int sequence : {1, 2, 2, 3}) {
        client.send(commandOf(sequence, 0x68, 0x12));
    }
    EXPECT_EQ(client.nextSequences(3), "1 2 3");
}

TEST(SimulatorProcess, LateReplyComesAfterTheNextOnes)
{
    RunningSimulator simulator("--model A2 --port 0 --fault 1=late --late-by 200");
    LinkClient client(simulator.listeningUrl());
    QElapsedTimer clock;
    clock.start();
    client.sendBytes(client.bytesOf(commandOf(1, 0x68, 0x12)) + client.bytesOf(commandOf(2, 0x68, 0x12)));
    EXPECT_EQ(client.nextSequences(2), "2 1");
    EXPECT_GE(clock.elapsed(), 190);
}

TEST(SimulatorProcess, DelayHoldsEveryReplyBack)
{
    RunningSimulator simulator("--model A2 --port 0 --delay 80");
    LinkClient client(simulator.listeningUrl());
    QElapsedTimer clock;
    clock.start();
    client.send(commandOf(1, 0x68, 0x12));
    client.send(commandOf(2, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(2), "1 2");
    EXPECT_GE(clock.elapsed(), 75);
}

TEST(SimulatorProcess, DuplicateIsTheSameReplyTwice)
{
    RunningSimulator simulator("--model A2 --port 0 --fault 68/12=duplicate");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(1, 0x68, 0x12));
    client.send(commandOf(2, 0x68, 0x13));
    EXPECT_EQ(client.nextSequences(3), "1 1 2");
    EXPECT_TRUE(client.staysSilent());
}

TEST(SimulatorProcess, WrongSequenceIsFarFromTheCommands)
{
    RunningSimulator simulator("--model A2 --port 0 --fault 1=wrongSequence");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(200, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(1), "72");
}

TEST(SimulatorProcess, RejectingFaultsChangeWhatTheyName)
{
    RunningSimulator simulator(
        "--model A2 --port 0 --fault 1=declaredLength --fault 2=shortPayload --fault 3=indexOutOfRange");
    LinkClient client(simulator.listeningUrl());
    for (int sequence = 1; sequence <= 3; ++sequence) {
        client.send(commandOf(sequence, 0xF1, 0x08, 15));
    }
    const auto wrongLength = client.reply();
    const auto shortPayload = client.reply();
    const auto wrongIndex = client.reply();
    ASSERT_TRUE(wrongLength && shortPayload && wrongIndex);
    EXPECT_NE(wrongLength->ucHead[4], 354 & 0xFF);
    EXPECT_LT(shortPayload->baData.size(), 354);
    EXPECT_GT(wrongIndex->ucHead[3], 15);
}

TEST(SimulatorProcess, FaultThatCannotApplyIsSaidAndAnsweredNormally)
{
    RunningSimulator simulator("--model A2 --port 0 --events --fault 1=shortPayload");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(4, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(1), "4");
    EXPECT_FALSE(simulator.lineWith("fault shortPayload does not apply").isEmpty());
}

// --- OSD -----------------------------------------------------------------------------

TEST(SimulatorProcess, EachOsdDeviceAnswersFromItsOwnAddress)
{
    RunningSimulator simulator("--osd 300 --port 0");
    const quint16 port = simulator.listeningPort();
    ASSERT_NE(port, 0);
    UdpClient client(port);
    for (const QString &device : {QStringLiteral("127.1.0.1"), QStringLiteral("127.1.1.44")}) {
        client.send(device, 5);
        const auto reply = client.reply();
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->qsIp, device);
        EXPECT_EQ(reply->ucOsdHead[0], 0x0D);
        EXPECT_EQ(reply->ucOsdHead[10], 5);
        EXPECT_EQ(reply->ucOsdFlag, 9);
        EXPECT_EQ(reply->baData, "text");
    }
}

TEST(SimulatorProcess, PlaysMoreDevicesThanTheUsualLimitOfOpenFilesAllows)
{
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    if (before.rlim_max < 1000) {
        GTEST_SKIP() << "no process may open a thousand files here";
    }
    const rlimit low{256, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    RunningSimulator simulator("--osd 600 --port 0");
    const quint16 port = simulator.listeningPort();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);

    UdpClient client(port);
    client.send("127.1.2.88", 1);
    EXPECT_TRUE(client.reply());
}

/** What a simulator that may open so few files says of so many OSD devices, after its exit status. */
QString ofFewOpenFiles(int limit, int osdDevices)
{
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"),
                                            QStringLiteral("ulimit -n %1; exec \"$0\" --osd %2 --port 0")
                                                .arg(QString::number(limit), QString::number(osdDevices)),
                                            QStringLiteral(BIZ_SIMULATOR)});
    if (shell.waitForReadyRead(patienceMs)) { // it listens
        shell.terminate();
    }
    EXPECT_TRUE(waitFor([&] { return shell.state() == QProcess::NotRunning; }));
    return QStringLiteral("%1 ").arg(shell.exitCode()) + QString::fromLocal8Bit(shell.readAllStandardError());
}

TEST(SimulatorProcess, MoreDevicesThanTheSystemAllowsOpenFilesIsOneLineWithTheLimitAndStatusThree)
{
    static const QRegularExpression sentence(
        QStringLiteral("^3 biz_simulator: these devices need [0-9]+ open files, and the limit is 64; expected fewer "
                       "devices, or a higher limit \\(ulimit -n\\)\n$"));
    for (const int devices : {60, 64, 100'000, 10'000'000}) {
        const QString said = ofFewOpenFiles(64, devices);
        EXPECT_TRUE(sentence.match(said).hasMatch()) << devices << ": " << said.toStdString();
    }
}

TEST(SimulatorProcess, AsManyDevicesAsTheLimitOfOpenFilesAllowsArePlayed)
{
    static const QRegularExpression needed(QStringLiteral("need ([0-9]+) open files"));
    const int tooMany = needed.match(ofFewOpenFiles(64, 64)).captured(1).toInt() - 64;
    EXPECT_TRUE(ofFewOpenFiles(64, 64 - tooMany + 1).startsWith("3 "));
    EXPECT_EQ(ofFewOpenFiles(64, 64 - tooMany), "0 ");
}

TEST(SimulatorProcess, RangeOfOsdDevicesIsPrinted)
{
    RunningSimulator simulator("--osd 3 --osd-first 127.9.8.7 --port 0");
    const QString line = simulator.nextLine();
    EXPECT_TRUE(line.startsWith("listening on udp://127.9.8.7 to 127.9.8.9 port ")) << line.toStdString();
}

TEST(SimulatorProcess, SilentOsdDevicesSilenceNoOther)
{
    RunningSimulator simulator("--osd 4 --port 0 --osd-silent 1 --osd-silent-list 127.1.0.2");
    UdpClient client(simulator.listeningPort());
    for (int device = 4; device >= 1; --device) {
        client.send(QStringLiteral("127.1.0.%1").arg(device), device);
    }
    QStringList answered;
    for (int i = 0; i < 2; ++i) {
        const auto reply = client.reply();
        ASSERT_TRUE(reply);
        answered << reply->qsIp;
    }
    answered.sort();
    EXPECT_EQ(answered.join(' '), "127.1.0.1 127.1.0.3");
    EXPECT_FALSE(client.reply(quietMs));
}

TEST(SimulatorProcess, OsdFaultsConcernTheirDevice)
{
    RunningSimulator simulator(
        "--osd 3 --port 0 --events --fault 127.1.0.1=duplicate --fault 127.1.0.2=late --late-by 1000");
    UdpClient client(simulator.listeningPort());
    client.send("127.1.0.2", 2);
    client.send("127.1.0.1", 1);
    QStringList senders;
    for (int i = 0; i < 3; ++i) {
        const auto reply = client.reply();
        ASSERT_TRUE(reply);
        senders << reply->qsIp;
    }
    EXPECT_EQ(senders.join(' '), "127.1.0.1 127.1.0.1 127.1.0.2");
}

TEST(SimulatorProcess, FaultWithoutMeaningForOsdIsSaidAndAnsweredNormally)
{
    RunningSimulator simulator("--osd 1 --port 0 --events --fault 127.1.0.1=shortPayload");
    UdpClient client(simulator.listeningPort());
    client.send("127.1.0.1", 1);
    EXPECT_TRUE(client.reply());
    EXPECT_FALSE(simulator.lineWith("fault shortPayload does not apply").isEmpty());
}

TEST(SimulatorProcess, BadDatagramIsRefusedAndNotAnswered)
{
    RunningSimulator simulator("--osd 1 --port 0 --events");
    UdpClient client(simulator.listeningPort());
    client.sendBytes("127.1.0.1", "garbage");
    client.send("127.1.0.1", 8);
    const auto reply = client.reply();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->ucOsdHead[10], 8);
    EXPECT_FALSE(simulator.lineWith("refused 7 bytes").isEmpty());
}

TEST(SimulatorProcess, OneProcessPlaysBothKinds)
{
    RunningSimulator simulator("--model A2 --port 0 --osd 2 --osd-port 0");
    LinkClient tcp(simulator.listeningUrl());
    UdpClient udp(simulator.listeningPort());
    tcp.send(commandOf(3, 0x68, 0x12));
    udp.send("127.1.0.2", 1);
    EXPECT_TRUE(tcp.reply());
    EXPECT_TRUE(udp.reply());
}

// --- A file of devices -------------------------------------------------------------------

namespace {

/** A file for the simulator to play, which is gone with the object. */
class DeviceFile
{
public:
    explicit DeviceFile(const QByteArray &text)
    {
        EXPECT_TRUE(m_file.open());
        m_file.write(text);
        EXPECT_TRUE(m_file.flush());
    }

    QString option() const { return QStringLiteral("--config ") + m_file.fileName(); }

private:
    QTemporaryFile m_file;
};

} // namespace

TEST(SimulatorProcess, FileOfDevicesIsPlayedEachWithItsOwnModelAndFaults)
{
    const DeviceFile file(R"({"devices": [
        {"name": "left", "model": "A2", "listen": "tcp://127.0.0.1:0", "faults": [{"reception": 1, "fault": "silence"}]},
        {"name": "right", "model": "A2", "listen": "udp://127.0.0.1:0"}]})");
    RunningSimulator simulator(file.option());
    LinkClient left(simulator.listeningUrl());
    LinkClient right(simulator.listeningUrl());
    ASSERT_TRUE(left.isOpen());
    ASSERT_TRUE(right.isOpen());
    for (LinkClient *const host : {&left, &right}) {
        host->send(commandOf(1, 0xF1, 0x08, 15));
        host->send(commandOf(2, 0xF1, 0x08, 15));
    }
    EXPECT_EQ(left.nextSequences(1), "2") << "its first reception is answered by silence";
    EXPECT_EQ(right.nextSequences(2), "1 2");
}

TEST(SimulatorProcess, FileOfDevicesThatIsBadIsOneLineAndStatusTwo)
{
    const DeviceFile file(R"({"devices": [{"model": "A9", "listen": "tcp://127.0.0.1:0"}]})");
    RunningSimulator simulator(file.option());
    EXPECT_EQ(simulator.exitStatus(), 2);
    const QString errors = simulator.allErrors();
    EXPECT_EQ(errors.count(QLatin1Char('\n')), 1) << errors.toStdString();
    EXPECT_TRUE(errors.contains("devices[0]")) << errors.toStdString();
    EXPECT_TRUE(errors.contains("A9")) << errors.toStdString();
}

TEST(SimulatorProcess, FileOfDevicesThatIsNotThereIsOneLineAndStatusTwo)
{
    RunningSimulator simulator("--config /nowhere/wall.json");
    EXPECT_EQ(simulator.exitStatus(), 2);
    const QString errors = simulator.allErrors();
    EXPECT_EQ(errors.count(QLatin1Char('\n')), 1) << errors.toStdString();
    EXPECT_TRUE(errors.contains("/nowhere/wall.json")) << errors.toStdString();
}

// --- The process -----------------------------------------------------------------------

class SimulatorSignal : public testing::TestWithParam<int>
{
};

TEST_P(SimulatorSignal, EndsWithSummaryAndStatusZero)
{
    RunningSimulator simulator("--model A2 --port 0 --osd 2 --osd-port 0 --fault 2=silence");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(1, 0x68, 0x12));
    client.send(commandOf(2, 0x68, 0x12));
    client.send(commandOf(3, 0x68, 0x12));
    ASSERT_EQ(client.nextSequences(2), "1 3");

    simulator.sendSignal(GetParam());
    EXPECT_EQ(simulator.exitStatus(), 0);
    EXPECT_EQ(simulator.lineWith("A2: "), "A2: 3 commands, 2 replies, 1 faults (1 silence)");
    EXPECT_EQ(simulator.nextLine(), "2 OSD devices: 0 commands, 0 replies, 0 faults");
}

INSTANTIATE_TEST_SUITE_P(Kinds, SimulatorSignal, testing::Values(SIGINT, SIGTERM),
                         [](const auto &instance) { return instance.param == SIGINT ? "Interrupt" : "Terminate"; });

TEST(SimulatorProcess, SignalDuringADelayedReplyEndsItAsWell)
{
    RunningSimulator simulator("--model A2 --port 0 --events --delay 3000000");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(1, 0x68, 0x12));
    ASSERT_FALSE(simulator.lineWith("#1 received").isEmpty());
    simulator.sendSignal(SIGTERM);
    EXPECT_EQ(simulator.exitStatus(), 0);
}

TEST(SimulatorProcess, BadUsageIsOneLineAndStatusTwo)
{
    RunningSimulator simulator("--model A9");
    EXPECT_EQ(simulator.exitStatus(), 2);
    const QString errors = simulator.allErrors();
    EXPECT_EQ(errors.count('\n'), 1);
    EXPECT_TRUE(errors.startsWith("biz_simulator: --model: \"A9\" is no model: expected one of A2, "))
        << errors.toStdString();
}

TEST(SimulatorProcess, HelpAndVersionAreStatusZero)
{
    RunningSimulator help("--help");
    EXPECT_EQ(help.exitStatus(), 0);
    RunningSimulator version("--version");
    EXPECT_EQ(version.exitStatus(), 0);
    EXPECT_TRUE(version.nextLine().startsWith("biz_simulator "));
}

TEST(SimulatorProcess, HelpThatCannotBeWrittenIsOneLineAndStatusOne)
{
    QProcess simulator;
    simulator.setStandardOutputFile("/dev/full");
    simulator.start(QStringLiteral(BIZ_SIMULATOR), {"--help"});
    ASSERT_TRUE(simulator.waitForFinished());
    EXPECT_EQ(simulator.exitCode(), 1);
    EXPECT_EQ(simulator.readAllStandardError(), "biz_simulator: the output cannot be written\n");
}

TEST(SimulatorProcess, TcpPortInUseIsStatusThree)
{
    QTcpServer other;
    ASSERT_TRUE(other.listen(QHostAddress::LocalHost));
    RunningSimulator simulator(QStringLiteral("--model A2 --port %1").arg(other.serverPort()));
    EXPECT_EQ(simulator.exitStatus(), 3);
    const QString errors = simulator.allErrors();
    EXPECT_TRUE(errors.contains(QStringLiteral("cannot listen on tcp://127.0.0.1:%1").arg(other.serverPort())))
        << errors.toStdString();
}

TEST(SimulatorProcess, APortThatNeedsRightsIsToldToNeedThem)
{
    // Taken, so that it cannot be had by who has the right to it either.
    QTcpServer other;
    other.listen(QHostAddress::LocalHost, 1);
    RunningSimulator simulator("--model A2 --port 1");
    EXPECT_EQ(simulator.exitStatus(), 3);
    const QString errors = simulator.allErrors();
    EXPECT_TRUE(errors.endsWith("; expected an address that is free, with a port from 1024 on: lower ones need "
                                "rights\n"))
        << errors.toStdString();
}

TEST(SimulatorProcess, OsdPortInUseAtOneDeviceIsStatusThree)
{
    // Even one that would share its port: two simulators must not get half of the commands each.
    QUdpSocket other;
    ASSERT_TRUE(other.bind(QHostAddress("127.7.0.3"), 0, QAbstractSocket::ShareAddress));
    RunningSimulator simulator(QStringLiteral("--osd 4 --osd-first 127.7.0.1 --port %1").arg(other.localPort()));
    EXPECT_EQ(simulator.exitStatus(), 3);
    const QString errors = simulator.allErrors();
    EXPECT_TRUE(errors.contains("127.7.0.3")) << errors.toStdString();
}

} // namespace
