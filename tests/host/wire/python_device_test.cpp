#include <algorithm>
#include <iterator>
#include <memory>
#include <random>

#include <QtCore/QProcess>
#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QTcpSocket>
#include <QtNetwork/QUdpSocket>

#include <gtest/gtest.h>

#include <host/frame_codec.h>
#include <host/support/wait_for.h>

// The documented formats in another language: the device of examples/python_device was written from
// docs/wire_format.md and shares no code with the kit.

namespace {

using namespace biz::host;
using biz::test::patienceMs;
using biz::test::waitFor;

/** The running device, which answers each command with the command itself. */
class PythonDevice : public testing::Test
{
protected:
    void SetUp() override
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(BIZ_PYTHON),
                        {QStringLiteral(BIZ_SOURCE_DIR "/examples/python_device/device.py")});
        tcpPort = portOfNextLine("listening on tcp://127.0.0.1:");
        udpPort = portOfNextLine("listening on udp://127.0.0.1:");
    }

    void TearDown() override
    {
        m_process.kill();
        EXPECT_TRUE(m_process.waitForFinished(patienceMs));
    }

    quint16 tcpPort = 0;
    quint16 udpPort = 0;

private:
    quint16 portOfNextLine(const QByteArray &before)
    {
        EXPECT_TRUE(waitFor([this] { return m_process.canReadLine() || m_process.state() == QProcess::NotRunning; }));
        const QByteArray line = m_process.readLine().trimmed();
        EXPECT_TRUE(line.startsWith(before)) << line.constData();
        return line.mid(before.size()).toUShort();
    }

    QProcess m_process;
};

/** A connection to the device, with the codec that reads and writes it. */
class Connection
{
public:
    explicit Connection(quint16 port)
    {
        m_socket.connectToHost(QHostAddress::LocalHost, port);
        EXPECT_TRUE(waitFor([this] { return m_socket.state() == QAbstractSocket::ConnectedState; }));
        m_socket.write(codec.preamble());
    }

    void write(const QByteArray &bytes) { m_socket.write(bytes); }

    /** The next replies; fewer when they do not come in time. */
    QVector<model_Protocoldata> replies(int count)
    {
        QVector<model_Protocoldata> found;
        waitFor([&] {
            const Decoded decoded = codec.decode(m_socket.readAll());
            EXPECT_TRUE(decoded.refusals.isEmpty());
            found += decoded.records;
            return found.size() >= count;
        });
        return found;
    }

    DemoFrameCodec codec;

private:
    QTcpSocket m_socket;
};

/** Heads and payloads of any bytes, zeros often among them, from a printed seed. */
QVector<model_Protocoldata> randomCommands(unsigned seed, int count)
{
    std::mt19937 random(seed);
    const auto below = [&random](int end) {
        return std::uniform_int_distribution<int>(0, end - 1)(random);
    };
    QVector<model_Protocoldata> commands(count);
    for (model_Protocoldata &command : commands) {
        const int zeroInOf = 1 + below(600);
        const auto byte = [&] {
            return below(zeroInOf) == 0 ? 0 : 1 + below(255);
        };
        std::generate(std::begin(command.ucHead), std::end(command.ucHead),
                      [&] { return static_cast<unsigned char>(byte()); });
        command.baData.resize(below(1500));
        std::generate(command.baData.begin(), command.baData.end(), [&] { return static_cast<char>(byte()); });
    }
    return commands;
}

void expectSame(const model_Protocoldata &reply, const model_Protocoldata &command)
{
    EXPECT_TRUE(std::equal(std::begin(reply.ucHead), std::end(reply.ucHead), std::begin(command.ucHead)));
    EXPECT_EQ(reply.baData, command.baData);
}

} // namespace

TEST_F(PythonDevice, AnswersFramesOfAnyPayloadOverTcp)
{
    constexpr unsigned seed = 20;
    const QVector<model_Protocoldata> commands = randomCommands(seed, 200);
    Connection connection(tcpPort);
    for (const model_Protocoldata &command : commands) {
        connection.write(connection.codec.encode(command));
    }
    const QVector<model_Protocoldata> replies = connection.replies(static_cast<int>(commands.size()));
    ASSERT_EQ(replies.size(), commands.size()) << "seed " << seed;
    for (int i = 0; i < commands.size(); ++i) {
        expectSame(replies[i], commands[i]);
    }
}

TEST_F(PythonDevice, AnswersTheLargestFrames)
{
    Connection connection(tcpPort);
    for (const char filling : {'\0', 'x'}) {
        model_Protocoldata command;
        command.baData = QByteArray(DemoFrameCodec::maxPayload, filling);
        connection.write(connection.codec.encode(command));
        const QVector<model_Protocoldata> replies = connection.replies(1);
        ASSERT_EQ(replies.size(), 1);
        expectSame(replies[0], command);
    }
}

TEST_F(PythonDevice, FindsTheFrameBehindDamageOfEachKind)
{
    const model_Protocoldata command = randomCommands(21, 1)[0];
    const QByteArray frame = DemoFrameCodec().encode(command);
    QByteArray damaged = frame;
    damaged[1] = damaged[1] == '\x55' ? '\x56' : '\x55';
    const QByteArray zero(1, '\0');
    for (const QByteArray &damage :
         {zero, "garbage" + zero, frame.left(frame.size() / 2) + zero, damaged, QByteArray(200000, '\x01') + zero}) {
        Connection connection(tcpPort);
        connection.write(damage + frame);
        const QVector<model_Protocoldata> replies = connection.replies(1);
        ASSERT_EQ(replies.size(), 1);
        expectSame(replies[0], command);
    }
}

TEST_F(PythonDevice, AnswersDatagramsOfAnyPayloadAndIgnoresOthers)
{
    constexpr unsigned seed = 22;
    DemoDatagramCodec codec;
    QUdpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), udpPort);
    for (const model_Protocoldata &command : randomCommands(seed, 200)) {
        socket.write("garbage");
        socket.write(codec.encode(command));
        ASSERT_TRUE(waitFor([&] { return socket.hasPendingDatagrams(); })) << "seed " << seed;
        const Decoded decoded = codec.decode(socket.receiveDatagram().data());
        ASSERT_EQ(decoded.records.size(), 1) << "seed " << seed;
        expectSame(decoded.records[0], command);
    }
}
