#include "small_device.h"

#include <QtNetwork/QTcpSocket>

SmallDevice::SmallDevice(QObject *parent)
    : QObject(parent)
    , m_codec(std::make_unique<biz::host::DemoFrameCodec>())
{
    connect(&m_server, &QTcpServer::newConnection, this, &SmallDevice::accept);
    m_server.listen(QHostAddress::LocalHost);
}

QString SmallDevice::url() const
{
    return m_server.isListening() ? QStringLiteral("tcp://127.0.0.1:%1").arg(m_server.serverPort()) : QString();
}

void SmallDevice::accept()
{
    QTcpSocket *socket = m_server.nextPendingConnection();
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    m_codec->reset(); // what an earlier connection left half received is not this one's
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
        for (model_Protocoldata record : m_codec->decode(socket->readAll()).records) {
            record.baData = "hello";
            record.ucHead[4] = static_cast<unsigned char>(record.baData.size());
            record.ucHead[5] = 0;
            socket->write(m_codec->encode(record));
        }
    });
}
