#ifndef BIZ_HOST_DEVICE_LINK_H
#define BIZ_HOST_DEVICE_LINK_H

#include <memory>

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QUrl>

#include <host/host_export.h>

namespace biz::host {

/**
 * The bytes' way to one device and back; an application brings its own by deriving.
 *
 * A link lives on its host's thread and is owned by it. It never blocks: open() returns at
 * once and opened() or closed() follows. It does not reconnect by itself.
 */
class BIZ_HOST_EXPORT DeviceLink : public QObject
{
    Q_OBJECT

public:
    explicit DeviceLink(QObject *parent = nullptr);
    ~DeviceLink() override;

    /** Starts to open the link; opened() or closed() reports the result. */
    virtual void open() = 0;

    /** Closes the link at once; closed() is not emitted for a close on request. */
    virtual void close() = 0;

    virtual bool isOpen() const = 0;

    /** Hands bytes over for sending; false when the link is not open. */
    virtual bool write(const QByteArray &bytes) = 0;

    /** The link's name for people, such as "tcp://127.0.0.1:15700". */
    virtual QString name() const = 0;

Q_SIGNALS:
    void opened();
    /** The link could not be opened, or was closed by the other side; `reason` says why. */
    void closed(const QString &reason);
    void received(const QByteArray &bytes);
};

/** The ports on which simulated devices answer over TCP and UDP unless told otherwise. */
constexpr int defaultTcpPort = 15700;
constexpr int defaultUdpPort = 15700;

/**
 * The link that a URL names: tcp://HOST[:PORT], udp://HOST[:PORT], or
 * serial:///dev/NAME[?baud=115200&parity=none&data=8&stop=1&flow=none], whose parameters
 * are optional and stand here with what they are by default. Null when the URL names none;
 * `error` then says what was wrong and what was expected.
 */
BIZ_HOST_EXPORT std::unique_ptr<DeviceLink> makeLink(const QUrl &url, QString *error);

} // namespace biz::host

#endif
