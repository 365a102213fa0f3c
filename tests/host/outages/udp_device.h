#ifndef BIZ_TESTS_HOST_OUTAGES_UDP_DEVICE_H
#define BIZ_TESTS_HOST_OUTAGES_UDP_DEVICE_H

#include <functional>

#include <QtCore/QScopedValueRollback>
#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QUdpSocket>

#include <gtest/gtest.h>

#include <host/frame_codec.h>

namespace biz::test {

/** A device that answers each datagram with the command in it, and runs from the test's event loop. */
class UdpDevice
{
public:
    UdpDevice()
    {
        QObject::connect(&m_socket, &QUdpSocket::readyRead, &m_socket, [this] { readAll(); });
        switchOn();
    }

    QString url() const { return QStringLiteral("udp://127.0.0.1:%1").arg(m_port); }

    /** Has its port; the same as before. */
    void switchOn()
    {
        ASSERT_TRUE(m_socket.bind(QHostAddress(QHostAddress::LocalHost), m_port)) << qPrintable(m_socket.errorString());
        m_port = m_socket.localPort();
    }

    /** What is sent to it now reaches nobody. */
    void switchOff() { m_socket.close(); }

    /** Reads, and answers nothing. */
    bool isMute = false;

    /** Called for each command that arrives, before it is answered. */
    std::function<void(const model_Protocoldata &)> onCommand;

    /** Acts on all that has reached the device's system. */
    void readAll()
    {
        if (m_isReading) {
            return;
        }
        const QScopedValueRollback<bool> reading(m_isReading, true);
        constexpr qint64 mostDatagramBytes = 65535;
        while (m_socket.state() == QAbstractSocket::BoundState) {
            // Of a size of its own choice, the socket would not read when nothing is there, and give no notice after
            // that.
            const QNetworkDatagram datagram = m_socket.receiveDatagram(mostDatagramBytes);
            if (!datagram.isValid()) {
                return;
            }
            for (const model_Protocoldata &command : m_codec.decode(datagram.data()).records) {
                answer(datagram, command);
            }
        }
    }

private:
    void answer(const QNetworkDatagram &datagram, const model_Protocoldata &command)
    {
        if (onCommand) {
            onCommand(command);
        }
        if (!isMute) {
            m_socket.writeDatagram(datagram.makeReply(m_codec.encode(command)));
        }
    }

    quint16 m_port = 0;
    QUdpSocket m_socket;
    host::DemoDatagramCodec m_codec;
    bool m_isReading = false;
};

} // namespace biz::test

#endif
