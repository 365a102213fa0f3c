#ifndef BIZ_HOST_DATAGRAM_TRANSPORT_H
#define BIZ_HOST_DATAGRAM_TRANSPORT_H

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtNetwork/QHostAddress>

#include <host/host_export.h>

namespace biz::host {

/**
 * The datagrams' way to many devices and back. An OsdHost uses UDP unless it is given another one with
 * OsdHost::setTransport(); an application brings its own by deriving.
 *
 * A transport lives on its host's thread and is owned by the host, which opens and closes it any number
 * of times. It never blocks. Its signals may be emitted inside of readPending(), but not inside of its
 * other calls.
 */
class BIZ_HOST_EXPORT DatagramTransport : public QObject
{
    Q_OBJECT

public:
    /** What became of a datagram. */
    enum class Sent {
        Yes,
        Later, ///< there is no room for it now; writable() tells when to try again
        No,    ///< it cannot be sent
    };

    struct SendResult
    {
        Sent sent = Sent::Yes;
        QString problem; ///< why it was not sent; empty when it was
    };

    explicit DatagramTransport(QObject *parent = nullptr);
    ~DatagramTransport() override;

    /** Opens the transport on a local address, or on any. Returns what is wrong; nothing when it is open. */
    [[nodiscard]] virtual QString open(const QHostAddress &local) = 0;

    /** Closes it at once; datagrams that have come and were not read are dropped. */
    virtual void close() = 0;

    virtual SendResult send(const QHostAddress &device, quint16 port, const QByteArray &datagram) = 0;

    /** Emits received() for what has come by now. */
    virtual void readPending() = 0;

    /** The host sends to this device no more. Does nothing by default. */
    virtual void forget(const QHostAddress &device);

Q_SIGNALS:
    void received(const QHostAddress &sender, const QByteArray &datagram);

    /** A datagram that was to be sent `Later` may be tried again. */
    void writable();

    /** So many further datagrams had come and were dropped, since nobody read them in time. */
    void overflowed(quint64 datagrams);

    /** Receiving, or the whole transport, has a problem. */
    void failed(const QString &why);
};

} // namespace biz::host

#endif
