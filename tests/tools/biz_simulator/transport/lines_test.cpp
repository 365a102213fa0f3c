#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

#include <tools/support/link_client.h>
#include <tools/support/running_simulator.h>

// What a host gets from the built program on each kind of line, over the kit's own links.

namespace {

using namespace biz::test;
namespace host = biz::host;

/** A line of any kind, on a free port. */
class SimulatorLine : public testing::TestWithParam<const char *>
{
protected:
    /** A simulator of an A2 on this kind of line. */
    static std::unique_ptr<RunningSimulator> start(const QString &options = {})
    {
        return std::make_unique<RunningSimulator>(
            (QStringLiteral("--model A2 --events --listen %1 ").arg(GetParam()) + options).trimmed());
    }

    static bool isSerial() { return QByteArray(GetParam()).startsWith("serial"); }
};

/** Lines that a host can lose. */
class SimulatorConnection : public SimulatorLine
{
};

/** The bytes of the reply that these devices give to commandOf(sequence, 0xF1, 0x08) on such a line. */
QByteArray goodReply(const char *listen, int sequence)
{
    RunningSimulator simulator(QStringLiteral("--model A2 --listen ") + QString::fromLatin1(listen));
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(sequence, 0xF1, 0x08));
    EXPECT_TRUE(client.reply());
    return client.bytes();
}

int differingBits(const QByteArray &left, const QByteArray &right)
{
    int bits = 0;
    for (int i = 0; i < std::min(left.size(), right.size()); ++i) {
        bits += static_cast<int>(qPopulationCount(static_cast<quint8>(left.at(i) ^ right.at(i))));
    }
    return bits;
}

const char *const tcp = "tcp://127.0.0.1:0";
const char *const udp = "udp://127.0.0.1:0";
const char *const serial = "serial:";

std::string lineName(const testing::TestParamInfo<const char *> &info)
{
    return QString::fromLatin1(info.param).section(':', 0, 0).toStdString();
}

INSTANTIATE_TEST_SUITE_P(On, SimulatorLine, testing::Values(tcp, udp, serial), lineName);
INSTANTIATE_TEST_SUITE_P(On, SimulatorConnection, testing::Values(tcp, serial), lineName);

TEST_P(SimulatorLine, IsNamedByTheFirstLineInTheFormOfALink)
{
    const auto simulator = start();
    const QString line = simulator->nextLine();
    EXPECT_TRUE(line.startsWith("listening on " + QString::fromStdString(lineName({GetParam(), 0})) + "://"))
        << line.toStdString();
    EXPECT_TRUE(LinkClient(line.section("listening on ", 1)).isOpen());
}

TEST_P(SimulatorLine, AnswersACommandWithItsSequenceByteAndTheLengthOfItsRule)
{
    const auto simulator = start();
    LinkClient client(simulator->listeningUrl());
    client.send(commandOf(200, 0xF1, 0x08, 15));
    const auto reply = client.reply();
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->ucHead[0], 200);
    EXPECT_EQ(reply->ucHead[3], 15);
    EXPECT_EQ(reply->baData.size(), 354);
    EXPECT_EQ(client.refusedBytes(), 0);
}

TEST_P(SimulatorLine, CarriesEveryByteThereAndBackAndNothingElse)
{
    const auto simulator = start();
    LinkClient client(simulator->listeningUrl());
    model_Protocoldata command = commandOf(1, 0x01, 0x02); // no rule: it comes back as it is
    for (int byte = 0; byte < 256; ++byte) {
        command.baData.append(static_cast<char>(byte));
    }
    client.send(command);
    EXPECT_EQ(client.nextSequences(1), "1");
    EXPECT_TRUE(client.staysSilent());
    EXPECT_EQ(client.bytes(), client.bytesOf(command));
}

TEST_P(SimulatorLine, SilenceLateAndDuplicateAreTheSameOnEach)
{
    const auto simulator = start("--fault 1=silence --fault 2=late --fault 3=duplicate --late-by 300");
    LinkClient client(simulator->listeningUrl());
    for (int sequence = 1; sequence <= 3; ++sequence) {
        client.send(commandOf(sequence, 0x68, 0x12));
    }
    EXPECT_EQ(client.nextSequences(3), "3 3 2");
    EXPECT_TRUE(client.staysSilent());
}

TEST_P(SimulatorLine, FlippedBitsAreOneToThreeOfTheFrameAndNoReply)
{
    const auto simulator = start("--fault 1=flippedBits");
    const QByteArray good = goodReply(GetParam(), 7);
    LinkClient client(simulator->listeningUrl());
    client.send(commandOf(7, 0xF1, 0x08));
    ASSERT_TRUE(client.waitForBytes(good.size()));
    EXPECT_TRUE(client.staysSilent());
    const int bits = differingBits(client.bytes(), good);
    EXPECT_GE(bits, 1);
    EXPECT_LE(bits, 3);

    client.send(commandOf(8, 0xF1, 0x08));
    EXPECT_EQ(client.nextSequences(1), "8");
}

TEST_P(SimulatorConnection, SplitFrameIsWholeAgainAtTheEnd)
{
    const auto simulator = start("--fault 1=splitFrames");
    const QByteArray good = goodReply(GetParam(), 7);
    LinkClient client(simulator->listeningUrl());
    client.send(commandOf(7, 0xF1, 0x08));
    EXPECT_EQ(client.nextSequences(1), "7");
    EXPECT_EQ(client.bytes(), good);
}

TEST_P(SimulatorConnection, MergedFrameWaitsForTheNextReplyAndLeavesWithIt)
{
    const auto simulator = start("--fault 1=mergedFrames");
    LinkClient client(simulator->listeningUrl());
    client.send(commandOf(1, 0x68, 0x12));
    EXPECT_TRUE(client.staysSilent());
    client.send(commandOf(2, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(2), "1 2");
}

TEST_P(SimulatorLine, JunkComesBeforeTheReplyAndHidesItNot)
{
    const auto simulator = start("--fault 68/12=junk");
    LinkClient client(simulator->listeningUrl());
    constexpr int commands = 20;
    for (int sequence = 1; sequence <= commands; ++sequence) {
        client.send(commandOf(sequence, 0x68, 0x12));
        EXPECT_EQ(client.nextSequences(1), QString::number(sequence));
    }
    EXPECT_GE(client.refusedBytes(), commands);
    EXPECT_LE(client.refusedBytes(), commands * 64);
}

TEST_P(SimulatorLine, BurstIsManyForeignRepliesAndThenTheGoodOne)
{
    const auto simulator = start("--fault 1=burst --burst-size 40");
    LinkClient client(simulator->listeningUrl());
    client.send(commandOf(1, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(41), QStringLiteral("129 ").repeated(40) + '1');
    EXPECT_FALSE(simulator->lineWith("#1 sends 40 replies that nobody asked for").isEmpty());
}

TEST_P(SimulatorConnection, CloseEndsItInPlaceOfTheReplyAndTheNextHostIsAnswered)
{
    const auto simulator = start("--fault 2=close");
    const QString url = simulator->listeningUrl();
    LinkClient client(url);
    client.send(commandOf(1, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(1), "1");
    client.send(commandOf(2, 0x68, 0x12));
    EXPECT_TRUE(client.waitForClose());
    EXPECT_TRUE(client.staysSilent());

    LinkClient next(isSerial() ? simulator->listeningUrl() : url);
    next.send(commandOf(3, 0x68, 0x12));
    EXPECT_EQ(next.nextSequences(1), "3");
}

TEST_P(SimulatorConnection, VanishedDeviceDropsItsHostAndReturns)
{
    const auto simulator = start("--fault 1=vanish --vanish-for 300");
    const QString url = simulator->listeningUrl();
    LinkClient client(url);
    client.send(commandOf(1, 0x68, 0x12));
    EXPECT_TRUE(client.waitForClose());
    const QString newUrl = isSerial() ? simulator->listeningUrl() : url;
    EXPECT_FALSE(simulator->lineWith("listens again").isEmpty());
    LinkClient next(newUrl);
    next.send(commandOf(2, 0x68, 0x12));
    EXPECT_EQ(next.nextSequences(1), "2");
}

TEST_P(SimulatorLine, BlackoutAnswersNothingForAWhileAndClosesNothing)
{
    const auto simulator = start("--fault 1=blackout --outage-for 300");
    LinkClient client(simulator->listeningUrl());
    client.send(commandOf(1, 0x68, 0x12));
    client.send(commandOf(2, 0x68, 0x12));
    EXPECT_FALSE(simulator->lineWith("answers again").isEmpty());
    client.send(commandOf(3, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(1), "3");
    EXPECT_TRUE(client.isOpen());
}

TEST_P(SimulatorLine, StallReadsLaterWhatWasSentMeanwhile)
{
    const auto simulator = start("--fault 1=stall --outage-for 300");
    LinkClient client(simulator->listeningUrl());
    client.send(commandOf(1, 0x68, 0x12));
    client.send(commandOf(2, 0x68, 0x12));
    EXPECT_TRUE(client.staysSilent());
    EXPECT_FALSE(simulator->lineWith("reads again").isEmpty());
    EXPECT_EQ(client.nextSequences(1), "2");
}

TEST(SimulatorTcpLine, StallLeavesBytesWithTheHost)
{
    RunningSimulator simulator("--model A2 --port 0 --fault 1=stall --outage-for 3000000");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(1, 0x68, 0x12));
    // More than the system's buffers of both ends hold.
    constexpr int commands = 400;
    model_Protocoldata large = commandOf(2, 0x68, 0x12);
    large.baData = QByteArray(60000, 'x');
    int taken = 0;
    while (taken < commands && client.trySend(large)) {
        ++taken;
    }
    EXPECT_LT(taken, commands);
    EXPECT_TRUE(client.isOpen());
}

TEST(SimulatorTcpLine, OneClientRefusesASecondConnectionUntilTheFirstIsGone)
{
    RunningSimulator simulator("--model A2 --port 0 --one-client --events");
    const QString url = simulator.listeningUrl();
    auto first = std::make_unique<LinkClient>(url);
    first->send(commandOf(1, 0x68, 0x12));
    EXPECT_EQ(first->nextSequences(1), "1");
    LinkClient second(url);
    EXPECT_TRUE(second.waitForClose());
    first.reset();
    EXPECT_FALSE(simulator.lineWith("closed").isEmpty());
    LinkClient third(url);
    third.send(commandOf(2, 0x68, 0x12));
    EXPECT_EQ(third.nextSequences(1), "2");
}

TEST(SimulatorTcpLine, RefusesConnectionsWhileItIsGone)
{
    RunningSimulator simulator("--model A2 --port 0 --events --fault 1=vanish --vanish-for 3000000");
    const QString url = simulator.listeningUrl();
    LinkClient client(url);
    client.send(commandOf(1, 0x68, 0x12));
    ASSERT_TRUE(client.waitForClose());
    EXPECT_FALSE(LinkClient(url).isOpen());
}

TEST(SimulatorTcpLine, CloseEndsOneConnectionOfTwo)
{
    RunningSimulator simulator("--model A2 --port 0 --fault 1=close");
    const QString url = simulator.listeningUrl();
    LinkClient first(url);
    LinkClient second(url);
    first.send(commandOf(1, 0x68, 0x12));
    EXPECT_TRUE(first.waitForClose());
    second.send(commandOf(2, 0x68, 0x12));
    EXPECT_EQ(second.nextSequences(1), "2");
}

TEST(SimulatorTcpLine, VanishTakesTheAddressFromTheCommandsThatCameInTheSameWrite)
{
    RunningSimulator simulator("--model A2 --port 0 --events --fault 1=vanish --vanish-for 1");
    const QString url = simulator.listeningUrl();
    LinkClient client(url);
    client.sendBytes(client.bytesOf(commandOf(1, 0x68, 0x12)) + client.bytesOf(commandOf(2, 0x68, 0x12)));
    ASSERT_TRUE(client.waitForClose());
    EXPECT_FALSE(simulator.lineWith("listens again").isEmpty());
    simulator.sendSignal(SIGTERM);
    EXPECT_EQ(simulator.lineWith("A2: "), "A2: 1 commands, 0 replies, 1 faults (1 vanish)");
}

TEST(SimulatorUdpLine, VanishedDeviceIsSilentAndReturnsAtTheSamePort)
{
    RunningSimulator simulator("--model A2 --listen udp://127.0.0.1:0 --events --fault 1=vanish --vanish-for 300");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(1, 0x68, 0x12));
    ASSERT_FALSE(simulator.lineWith("listens again").isEmpty());
    client.send(commandOf(2, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(1), "2");
}

TEST(SimulatorUdpLine, EachHostGetsItsOwnReplies)
{
    RunningSimulator simulator("--model A2 --listen udp://127.0.0.1:0 --fault 1=late --late-by 300");
    const QString url = simulator.listeningUrl();
    LinkClient first(url);
    LinkClient second(url);
    first.send(commandOf(1, 0x68, 0x12));
    second.send(commandOf(2, 0x68, 0x12));
    EXPECT_EQ(second.nextSequences(1), "2");
    EXPECT_EQ(first.nextSequences(1), "1");
    EXPECT_TRUE(second.staysSilent());
}

TEST(SimulatorUdpLine, SplitReplyIsDatagramsWithoutARecord)
{
    const QByteArray good = goodReply(udp, 7);
    RunningSimulator simulator("--model A2 --listen udp://127.0.0.1:0 --fault 1=splitFrames");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(7, 0xF1, 0x08));
    ASSERT_TRUE(client.waitForBytes(good.size()));
    EXPECT_EQ(client.bytes(), good);
    EXPECT_GE(client.pieces().size(), 2);
    EXPECT_LE(client.pieces().size(), 4);
    EXPECT_EQ(client.refusedBytes(), good.size());
}

TEST(SimulatorUdpLine, MergedRepliesAreADatagramWithoutARecord)
{
    const QByteArray good = goodReply(udp, 7);
    RunningSimulator simulator("--model A2 --listen udp://127.0.0.1:0 --fault 1=mergedFrames");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(7, 0xF1, 0x08));
    client.send(commandOf(7, 0xF1, 0x08));
    ASSERT_TRUE(client.waitForBytes(2 * good.size()));
    EXPECT_EQ(client.pieces(), QVector<QByteArray>{good + good});
    EXPECT_EQ(client.refusedBytes(), 2 * good.size());
}

TEST(SimulatorUdpLine, HalfACommandIsRefusedWithItsDatagram)
{
    RunningSimulator simulator("--model A2 --listen udp://127.0.0.1:0 --events");
    LinkClient client(simulator.listeningUrl());
    const QByteArray bytes = client.bytesOf(commandOf(1, 0x68, 0x12));
    client.sendBytes(bytes.left(5));
    client.sendBytes(bytes.mid(5));
    client.send(commandOf(2, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(1), "2");
    EXPECT_FALSE(simulator.lineWith("udp refused 5 bytes: 5 bytes are no record, which has at least 9").isEmpty());
}

TEST(SimulatorUdpLine, CloseIsRefusedSinceThereIsNoConnection)
{
    for (const char *fault : {"--fault 1=close", "--fault-rate close=0.5"}) {
        RunningSimulator simulator(QStringLiteral("--model A2 --listen udp://127.0.0.1:0 %1").arg(fault));
        EXPECT_EQ(simulator.exitStatus(), 2);
        EXPECT_EQ(simulator.allErrors(), "biz_simulator: close: a UDP device has no connection to close; expected "
                                         "another fault, such as vanish\n");
    }
}

TEST(SimulatorSerialLine, IsKnownByItsSymbolicLinkUntilItEnds)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("a2");
    RunningSimulator simulator(
        QStringLiteral("--model A2 --listen serial://%1 --fault 1=close --fault 3=vanish --vanish-for 100").arg(path));
    EXPECT_EQ(simulator.listeningUrl(), "serial://" + path);
    for (const int sequence : {1, 3}) {
        LinkClient client("serial://" + path);
        client.send(commandOf(sequence, 0x68, 0x12));
        if (sequence == 3) {
            EXPECT_EQ(client.nextSequences(1), "3");
            client.send(commandOf(4, 0x68, 0x12));
        }
        ASSERT_TRUE(client.waitForClose());
        ASSERT_TRUE(waitFor([&] { return QFileInfo::exists(path); }));
    }
    LinkClient last("serial://" + path);
    last.send(commandOf(5, 0x68, 0x12));
    EXPECT_EQ(last.nextSequences(1), "5");

    simulator.sendSignal(SIGTERM);
    EXPECT_EQ(simulator.exitStatus(), 0);
    EXPECT_FALSE(QFileInfo(path).isSymLink());
}

TEST(SimulatorSerialLine, LeavesAFileOfItsNameAlone)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("a2");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("mine");
    file.close();
    RunningSimulator simulator("--model A2 --listen serial://" + path);
    EXPECT_EQ(simulator.exitStatus(), 3);
    EXPECT_TRUE(simulator.allErrors().startsWith("biz_simulator: cannot listen on serial://" + path + ": "));
    EXPECT_EQ(QFileInfo(path).size(), 4);
}

TEST(SimulatorSerialLine, ReplacesALinkThatLeadsNowhere)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("a2");
    ASSERT_TRUE(QFile::link("/dev/pts/no_such_terminal", path));
    RunningSimulator simulator("--model A2 --listen serial://" + path);
    EXPECT_EQ(simulator.listeningUrl(), "serial://" + path);
}

void makeOld(const QString &link)
{
    const timespec longAgo[2] = {{1, 0}, {1, 0}};
    EXPECT_EQ(::utimensat(AT_FDCWD, qPrintable(link), longAgo, AT_SYMLINK_NOFOLLOW), 0);
}

TEST(SimulatorSerialLine, ReplacesTheLinkOfASimulatorThatWasKilled)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("a2");
    RunningSimulator killed("--model A2 --listen serial://" + path);
    ASSERT_EQ(killed.listeningUrl(), "serial://" + path);
    killed.sendSignal(SIGKILL);
    ASSERT_EQ(killed.exitStatus(), -1);
    ASSERT_TRUE(QFileInfo(path).isSymLink());
    // Somebody else may have a terminal of that name by now, made so soon that it looks as old as the link.
    makeOld(path);
    RunningSimulator next("--model A2 --listen serial://" + path);
    EXPECT_EQ(next.listeningUrl(), "serial://" + path) << next.allErrors().toStdString();
}

/** A terminal of somebody else. */
class ForeignTerminal
{
public:
    ForeignTerminal()
        : m_end(::posix_openpt(O_RDWR | O_NOCTTY))
    {
        EXPECT_EQ(::grantpt(m_end), 0);
        EXPECT_EQ(::unlockpt(m_end), 0);
        name = QString::fromLocal8Bit(::ptsname(m_end));
    }
    ~ForeignTerminal() { ::close(m_end); }
    Q_DISABLE_COPY_MOVE(ForeignTerminal)

    QString name;

private:
    int m_end;
};

TEST(SimulatorSerialLine, ReplacesALinkWhoseTerminalIsSomebodyElsesByNow)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("a2");
    const ForeignTerminal terminal;
    ASSERT_TRUE(QFile::link(terminal.name, path));
    makeOld(path);
    RunningSimulator simulator("--model A2 --listen serial://" + path);
    EXPECT_EQ(simulator.listeningUrl(), "serial://" + path) << simulator.allErrors().toStdString();
}

TEST(SimulatorSerialLine, LeavesALinkThatSomebodyMadeForATerminalAlone)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("a2");
    const ForeignTerminal terminal;
    ASSERT_TRUE(QFile::link(terminal.name, path));
    RunningSimulator simulator("--model A2 --listen serial://" + path);
    EXPECT_EQ(simulator.exitStatus(), 3);
    EXPECT_EQ(QFileInfo(path).symLinkTarget(), terminal.name);
}

TEST(SimulatorSerialLine, LeavesTheLinkOfARunningSimulatorAlone)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("a2");
    RunningSimulator first("--model A2 --listen serial://" + path);
    ASSERT_EQ(first.listeningUrl(), "serial://" + path);
    // The terminal looks younger than its link after that.
    ASSERT_EQ(::chmod(qPrintable(path), S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP), 0);
    RunningSimulator second("--model A2 --listen serial://" + path);
    EXPECT_EQ(second.exitStatus(), 3);
    EXPECT_EQ(second.allErrors(),
              "biz_simulator: cannot listen on serial://" + path +
                  ": the link belongs to a running biz_simulator; expected an address that is free\n");
    LinkClient client("serial://" + path);
    client.send(commandOf(1, 0x68, 0x12));
    EXPECT_EQ(client.nextSequences(1), "1");
}

TEST(SimulatorSerialLine, HostsFollowEachOther)
{
    RunningSimulator simulator("--model A2 --listen serial:");
    const QString url = simulator.listeningUrl();
    for (int sequence = 1; sequence <= 3; ++sequence) {
        LinkClient client(url);
        client.send(commandOf(sequence, 0x68, 0x12));
        EXPECT_EQ(client.nextSequences(1), QString::number(sequence));
    }
}

TEST(SimulatorSerialLine, CarriesABurstThatIsLargerThanItsBuffer)
{
    RunningSimulator simulator("--model A2 --listen serial: --fault 1=burst --burst-size 1000");
    LinkClient client(simulator.listeningUrl());
    client.send(commandOf(1, 0xF1, 0x08));
    const QString last = client.nextSequences(1001).section(' ', -2);
    EXPECT_EQ(last, "129 1");
}

TEST_P(SimulatorLine, SignalEndsItWithASummaryWhileTheDeviceIsGone)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto simulator = start("--fault 2=vanish --vanish-for 3000000");
        LinkClient client(simulator->listeningUrl());
        client.send(commandOf(1, 0x68, 0x12));
        EXPECT_EQ(client.nextSequences(1), "1");
        client.send(commandOf(2, 0x68, 0x12));
        EXPECT_FALSE(simulator->lineWith("#2 fault vanish").isEmpty());
        simulator->sendSignal(signal);
        EXPECT_EQ(simulator->lineWith("A2: "), "A2: 2 commands, 1 replies, 1 faults (1 vanish)");
        EXPECT_EQ(simulator->exitStatus(), 0);
    }
}

/** What a device does with thirty commands under every fault that leaves it there, and all that comes of it. */
QString seededRun(const char *listen, int seed)
{
    RunningSimulator simulator(
        QStringLiteral("--model A2 --listen %1 --events --seed %2 --burst-size 3 --fault-rate flippedBits=0.12 "
                       "--fault-rate splitFrames=0.12 --fault-rate junk=0.12 --fault-rate burst=0.12 "
                       "--fault-rate duplicate=0.1 --fault-rate wrongSequence=0.1 --fault-rate silence=0.1 "
                       "--fault-rate shortPayload=0.1 --fault 31=duplicate")
            .arg(QString::fromLatin1(listen), QString::number(seed)));
    LinkClient client(simulator.listeningUrl());
    EXPECT_FALSE(simulator.lineWith("seed ").isEmpty());
    QStringList lines;
    for (int sequence = 1; sequence <= 31; ++sequence) {
        client.send(commandOf(sequence, 0xF1, 0x08));
        const QString number = QStringLiteral("#%1 ").arg(sequence);
        QString line;
        do {
            line = simulator.lineWith("#").section(QLatin1Char(' '), 1);
            lines << line;
        } while (!line.isEmpty() && !line.contains(number + "answers") && !line.contains(number + "fault silence"));
    }
    auto reply = client.reply();
    while (reply && reply->ucHead[0] != 31) {
        reply = client.reply();
    }
    EXPECT_EQ(client.nextSequences(1), "31"); // the last command's second reply is the last of all
    return lines.join(QLatin1Char('\n')) + QString::fromLatin1(client.bytes().toHex());
}

TEST_P(SimulatorLine, SameSeedGivesTheSameRunDownToTheLastBit)
{
    const QString run = seededRun(GetParam(), 7);
    EXPECT_EQ(seededRun(GetParam(), 7), run);
    EXPECT_NE(seededRun(GetParam(), 8), run);
}

} // namespace
