#ifndef BIZ_HOST_TCP_LINK_P_H
#define BIZ_HOST_TCP_LINK_P_H

#include <array>

#include <QtCore/QTimer>
#include <QtNetwork/QHostInfo>
#include <QtNetwork/QTcpSocket>

#include <host/device_link.h>
#include <link/write_window_p.h>

namespace biz::host {

/** A device behind a TCP port. */
class TcpLink final : public DeviceLink
{
    Q_OBJECT

public:
    TcpLink(const QString &host, quint16 port);
    ~TcpLink() override;

    void open() override;
    void close() override;
    bool isOpen() const override;
    bool write(const QByteArray &bytes) override;
    bool canWrite() const override;
    qint64 bytesHeld() const override;
    void discard() override;
    QString name() const override;
    bool endWriting() override;

private:
    void onFound(const QHostInfo &found);
    void connectToNext();
    void giveUp(const QString &why);
    void onConnected();
    void onStateChanged(QAbstractSocket::SocketState state);
    void onReadyRead();
    void take(const char *bytes, int count);
    void end(const QString &why);
    void setOption(int level, int option, int value);
    void setResetOnClose(bool isOn);
    void guardHeldBytes(bool isOn);

    const QString m_host;
    const quint16 m_port;
    QTcpSocket m_socket{this};
    WriteWindow m_window{this};

    /** Read in one go; what is left then waits for the event loop's next turn. */
    std::array<char, 65536> m_chunk{};

    /** Connects from the event loop: a socket may fail within the call that connects it. */
    QTimer m_connecting{this};
    QTimer m_connectLimit{this};
    int m_lookUp = -1;               ///< of the name's addresses, by Qt's number
    QList<QHostAddress> m_addresses; ///< that are still to be tried

    /** From open() to close() or the report of its end: while true, an end is to be reported. */
    bool m_wanted = false;
    bool m_open = false;
    bool m_isGuarded = false;
    bool m_hasEndedWriting = false;
};

} // namespace biz::host

#endif
