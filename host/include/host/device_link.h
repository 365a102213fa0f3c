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
 * A link lives on its host's thread and is owned by the host. It never blocks: open() returns at
 * once, and opened() or closed() follows. It does not reconnect by itself: its host opens it again.
 * Its signals may be emitted inside of its own calls. A call that throws counts as one that failed; one of bytesHeld()
 * as 0, and one of canWrite() as false.
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

    /** Hands one frame over for sending; false when the link is not open, or does not take the frame. */
    virtual bool write(const QByteArray &bytes) = 0;

    /**
     * Whether there is room for the next frame: a host asks before each one, so that commands wait where they
     * can still be cancelled. writable() follows a false. True while open, by default. The links that makeLink()
     * makes hold 64 KiB at most, or one frame, as long as no frame is larger than all before it.
     */
    virtual bool canWrite() const;

    /** Bytes of written frames that have not left this machine, or were not acknowledged; 0 by default. */
    virtual qint64 bytesHeld() const;

    /**
     * Throws held bytes away, so that a command that has ended cannot reach the device. A link that can
     * do so only by ending its connection ends it and emits closed(). Does nothing by default.
     *
     * What has left cannot be recalled: bytes that the system of a stalled device or a serial server has
     * taken, bytes in the buffer of a pseudo-terminal, and one UDP datagram or TCP segment that waits until
     * the device's address is resolved, which the system does for a few seconds after a cable was out.
     */
    virtual void discard();

    /** Whether one write() arrives as one received(), as datagrams do; false by default. */
    virtual bool keepsMessageBoundaries() const;

    /** The link's name for people, such as "tcp://127.0.0.1:15700". */
    virtual QString name() const = 0;

    /**
     * Tells the other side that nothing is written any more. It sends what it still has to send and ends the
     * connection, which closed() tells. False where the link has no such way, as by default.
     */
    virtual bool endWriting();

Q_SIGNALS:
    void opened();
    /** The link could not be opened, or was closed by the other side; `reason` says why. */
    void closed(const QString &reason);
    void received(const QByteArray &bytes);
    /** canWrite() has become true again. */
    void writable();
};

/** The ports on which simulated devices answer over TCP and UDP unless told otherwise. */
constexpr int defaultTcpPort = 15700;
constexpr int defaultUdpPort = 15700;

/**
 * The link that a URL names: tcp://HOST[:PORT], udp://HOST[:PORT], or
 * serial:///dev/NAME[?baud=115200&parity=none&data=8&stop=1&flow=none], whose parameters
 * are optional and stand here with what they are by default. Null when the URL names none;
 * `error`, where given, then says what was wrong and what was expected.
 */
[[nodiscard]] BIZ_HOST_EXPORT std::unique_ptr<DeviceLink> makeLink(const QUrl &url, QString *error = nullptr);

} // namespace biz::host

#endif
