#include <biz_simulator/tcp_device.h>

#include <memory>

#include <QtCore/QTimer>

#include <biz_simulator/reply_maker.h>

namespace biz::simulator {

namespace {

/** Half of the circle away from any command that was given lately. */
constexpr int wrongSequenceDistance = 128;

QString hexByte(uchar byte)
{
    return QStringLiteral("%1").arg(byte, 2, 16, QLatin1Char('0')).toUpper();
}

/** "F1/08 sn 3 index 15 declares 354 payload 354" */
QString recordText(const model_Protocoldata &record)
{
    return QStringLiteral("%1/%2 sn %3 index %4 declares %5 payload %6")
        .arg(hexByte(record.ucHead[1]), hexByte(record.ucHead[2]))
        .arg(record.ucHead[0])
        .arg(record.ucHead[3])
        .arg(rules::combineTwoByte(record.ucHead[4], record.ucHead[5]))
        .arg(record.baData.size());
}

} // namespace

TcpDevice::TcpDevice(rules::Model model, const FaultPlan &plan, int delayMs, const EventLog &log, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_plan(plan)
    , m_delayMs(delayMs)
    , m_log(log)
{
    connect(&m_server, &QTcpServer::newConnection, this, &TcpDevice::accept);
}

TcpDevice::~TcpDevice() = default;

bool TcpDevice::listen(const QHostAddress &address, quint16 port)
{
    return m_server.listen(address, port);
}

void TcpDevice::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        ++m_counters.connections;
        m_log.write(QStringLiteral("tcp connection from port %1").arg(socket->peerPort()));
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);

        const auto codec = std::make_shared<host::DemoFrameCodec>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, codec] { read(socket, *codec); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_log.write(QStringLiteral("tcp connection from port %1 closed").arg(socket->peerPort()));
            socket->deleteLater();
        });
    }
}

void TcpDevice::read(QTcpSocket *socket, host::FrameCodec &codec)
{
    const host::Decoded decoded = codec.decode(socket->readAll());
    for (const host::Refusal &refusal : decoded.refusals) {
        ++m_counters.refused;
        m_log.write(QStringLiteral("tcp refused %1 bytes: %2").arg(QString::number(refusal.bytes), refusal.reason));
    }
    for (const model_Protocoldata &command : decoded.records) {
        receive(socket, command);
    }
}

void TcpDevice::receive(QTcpSocket *socket, const model_Protocoldata &command)
{
    ++m_counters.received;
    const auto fault = m_plan.next({command.ucHead[1], command.ucHead[2]});
    const QString who = QStringLiteral("tcp #%1").arg(m_plan.receptions());
    m_log.write(QStringLiteral("%1 received %2").arg(who, recordText(command)));

    if (fault) {
        ++m_counters.faults;
        answer(socket, command, *fault, who);
    } else {
        const model_Protocoldata reply = makeReply(m_model, command);
        m_log.write(QStringLiteral("%1 answers %2").arg(who, recordText(reply)));
        sendAfter(socket, m_delayMs, host::DemoFrameCodec().encode(reply), who);
    }
}

void TcpDevice::answer(QTcpSocket *socket, const model_Protocoldata &command, const Fault &fault, const QString &who)
{
    const QString name = faultName(fault.kind);
    model_Protocoldata reply = makeReply(m_model, command);
    int delayMs = m_delayMs;
    int copies = 1;

    switch (fault.kind) {
    case FaultKind::Silence:
        m_log.write(QStringLiteral("%1 fault %2").arg(who, name));
        return;
    case FaultKind::Late:
        delayMs = fault.lateByMs;
        break;
    case FaultKind::Duplicate:
        copies = 2;
        break;
    case FaultKind::WrongSequence:
        reply.ucHead[0] = static_cast<uchar>(reply.ucHead[0] + wrongSequenceDistance);
        break;
    default:
        if (const auto faulty = withFault(m_model, reply, fault.kind)) {
            reply = *faulty;
        } else {
            ++m_counters.unfit;
            m_log.write(QStringLiteral("%1 fault %2 does not apply").arg(who, name));
        }
        break;
    }
    m_log.write(QStringLiteral("%1 fault %2 answers %3").arg(who, name, recordText(reply)));
    for (int copy = 0; copy < copies; ++copy) {
        sendAfter(socket, delayMs, host::DemoFrameCodec().encode(reply), who);
    }
}

void TcpDevice::sendAfter(QTcpSocket *socket, int delayMs, const QByteArray &frame, const QString &who)
{
    const auto send = [this, frame, who, connection = QPointer<QTcpSocket>(socket)] {
        if (!connection || connection->state() != QAbstractSocket::ConnectedState) {
            ++m_counters.lost;
            m_log.write(QStringLiteral("%1 reply not delivered: the connection is closed").arg(who));
        } else if (frame.isEmpty()) {
            ++m_counters.lost;
            m_log.write(QStringLiteral("%1 reply not delivered: its payload cannot be put into a frame").arg(who));
        } else {
            connection->write(frame);
            ++m_counters.replies;
        }
    };
    if (delayMs == 0) {
        send();
    } else {
        QTimer::singleShot(delayMs, Qt::PreciseTimer, this, send);
    }
}

} // namespace biz::simulator
