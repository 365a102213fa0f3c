#include <biz_simulator/tcp_device.h>

#include <memory>

#include <QtCore/QPointer>
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

    if (!fault) {
        send(socket, who, {makeReply(m_model, command), m_delayMs});
        return;
    }
    ++m_counters.faults;
    const Delivery delivery = deliveryWith(*fault, command);
    m_log.write(
        QStringLiteral("%1 fault %2%3")
            .arg(who, faultName(fault->kind), delivery.faultApplies ? QString() : QStringLiteral(" does not apply")));
    if (!delivery.faultApplies) {
        ++m_counters.unfit;
    }
    send(socket, who, delivery);
}

TcpDevice::Delivery TcpDevice::deliveryWith(const Fault &fault, const model_Protocoldata &command) const
{
    Delivery delivery{makeReply(m_model, command), m_delayMs};
    switch (fault.kind) {
    case FaultKind::Silence:
        delivery.copies = 0;
        break;
    case FaultKind::Late:
        delivery.delayMs = fault.lateByMs;
        break;
    case FaultKind::Duplicate:
        delivery.copies = 2;
        break;
    case FaultKind::WrongSequence:
        delivery.reply.ucHead[0] = static_cast<uchar>(delivery.reply.ucHead[0] + wrongSequenceDistance);
        break;
    case FaultKind::DeclaredLength:
    case FaultKind::ShortPayload:
    case FaultKind::IndexOutOfRange:
        if (const auto faulty = withFault(m_model, delivery.reply, fault.kind)) {
            delivery.reply = *faulty;
        } else {
            delivery.faultApplies = false;
        }
        break;
    }
    return delivery;
}

void TcpDevice::send(QTcpSocket *socket, const QString &who, const Delivery &delivery)
{
    const auto sendNow = [this, delivery, who, connection = QPointer<QTcpSocket>(socket)] {
        for (int copy = 0; copy < delivery.copies; ++copy) {
            write(connection, who, delivery.reply);
        }
    };
    if (delivery.delayMs == 0) {
        sendNow();
    } else {
        QTimer::singleShot(delivery.delayMs, Qt::PreciseTimer, this, sendNow);
    }
}

void TcpDevice::write(QTcpSocket *socket, const QString &who, const model_Protocoldata &reply)
{
    const QByteArray frame = host::DemoFrameCodec().encode(reply);
    if (socket == nullptr || socket->state() != QAbstractSocket::ConnectedState) {
        ++m_counters.lost;
        m_log.write(QStringLiteral("%1 reply not delivered: the connection is closed").arg(who));
    } else if (frame.isEmpty()) {
        ++m_counters.lost;
        m_log.write(QStringLiteral("%1 reply not delivered: its payload cannot be put into a frame").arg(who));
    } else {
        socket->write(frame);
        ++m_counters.replies;
        m_log.write(QStringLiteral("%1 answers %2").arg(who, recordText(reply)));
    }
}

} // namespace biz::simulator
