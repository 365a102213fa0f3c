#ifndef BIZ_TESTKIT_TRANSPORT_P_H
#define BIZ_TESTKIT_TRANSPORT_P_H

#include <lines/peer_p.h>

namespace biz::testkit {

/** Where a device waits for hosts. */
class Transport : public QObject
{
    Q_OBJECT

public:
    explicit Transport(QObject *parent = nullptr);
    ~Transport() override;

    /** Starts to listen; false: errorString() says why not. Once it did, the address stays the same. */
    virtual bool open() = 0;

    /** Stops to listen, and drops every host. */
    virtual void close() = 0;

    virtual bool isOpen() const = 0;

    /** While off, nothing is read: what hosts send fills the buffers of the system, and then waits with them. */
    virtual void setReading(bool on) = 0;

    /** Where hosts reach it; before it was open, where they are meant to. */
    virtual QString url() const = 0;

    virtual QString errorString() const = 0;

Q_SIGNALS:
    void received(const biz::testkit::PeerPointer &peer, const QByteArray &bytes);

    /** A host was dropped for what it did; `why` is a sentence for people. */
    void droppedHost(const QString &why);

    /** Something worth an event line happened. */
    void told(const QString &text);

    /** Hosts reach it at another url() from now on. */
    void moved();
};

} // namespace biz::testkit

#endif
