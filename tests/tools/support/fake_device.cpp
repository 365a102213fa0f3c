#include <tools/support/fake_device.h>

#include <stdexcept>

#include <QtCore/QTimer>

namespace biz::test {

FakeDevice::FakeDevice(Behaviour behaviour)
    : m_behaviour(std::move(behaviour))
{
    if (!m_server.listen(QHostAddress::LocalHost)) {
        throw std::runtime_error("no free port: " + m_server.errorString().toStdString());
    }
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { accept(); });
}

QString FakeDevice::url() const
{
    return QStringLiteral("tcp://127.0.0.1:%1").arg(m_server.serverPort());
}

void FakeDevice::accept()
{
    m_socket = m_server.nextPendingConnection();
    QObject::connect(m_socket, &QTcpSocket::readyRead, &m_server, [this] { read(); });
}

void FakeDevice::read()
{
    const host::Decoded decoded = m_codec.decode(m_socket->readAll());
    for (const model_Protocoldata &command : decoded.records) {
        ++m_commands;
        m_behaviour(*this, command);
    }
}

void FakeDevice::send(const model_Protocoldata &reply)
{
    m_socket->write(m_codec.encode(reply));
}

void FakeDevice::answerShort(FakeDevice &device, const model_Protocoldata &command)
{
    model_Protocoldata reply = command;
    reply.ucHead[4] = 129;
    reply.ucHead[5] = 0;
    reply.baData = QByteArray(128, '\x80');
    device.send(reply);
}

void FakeDevice::sendAfter(int milliseconds, const model_Protocoldata &reply)
{
    QTimer::singleShot(milliseconds, m_socket, [this, reply] { send(reply); });
}

void FakeDevice::closeLink()
{
    m_socket->disconnectFromHost();
}

} // namespace biz::test
