#ifndef BIZ_KIT_SEEDS_WATCHED_LINK_H
#define BIZ_KIT_SEEDS_WATCHED_LINK_H

#include <functional>
#include <memory>

#include <QtCore/QMetaMethod>

#include <host/device_link.h>

namespace biz::kit_seeds {

/** A link that shows the test what its host does with it at that moment, and that can be full. */
class WatchedLink final : public host::DeviceLink
{
    Q_OBJECT

public:
    /** Who looks on. */
    class Watcher
    {
    public:
        virtual ~Watcher() = default;
        virtual void beforeOpen() = 0;
        virtual void beforeWrite(const QByteArray &frame, bool isFull, qint64 bytesHeld) = 0;
        virtual void afterWrite(const QByteArray &frame) = 0;
        virtual void beforeReceived(const QByteArray &bytes) = 0;

        virtual void onOpened() = 0;

        /** The connection has ended, or lost what it held. */
        virtual void onBreak() = 0;

        /** The host has asked, and heard that bytes have not left yet. */
        virtual void onHeld() = 0;
    };

    WatchedLink(std::unique_ptr<host::DeviceLink> link, Watcher *watcher)
        : m_link(std::move(link))
        , m_watcher(watcher)
    {
        connect(m_link.get(), &DeviceLink::opened, this, [this] {
            m_watcher->onOpened();
            Q_EMIT opened();
        });
        connect(m_link.get(), &DeviceLink::closed, this, [this](const QString &reason) {
            m_watcher->onBreak();
            Q_EMIT closed(reason);
        });
        connect(m_link.get(), &DeviceLink::received, this, &WatchedLink::receive);
        connect(m_link.get(), &DeviceLink::writable, this, &WatchedLink::tellWritable);
    }

    void open() override
    {
        m_watcher->beforeOpen();
        m_link->open();
    }

    void close() override
    {
        m_watcher->onBreak();
        m_link->close();
    }

    void discard() override
    {
        m_watcher->onBreak();
        m_link->discard();
    }

    bool isOpen() const override { return m_link->isOpen(); }
    bool canWrite() const override { return !m_isFull && m_link->canWrite(); }
    QString name() const override { return m_link->name(); }

    qint64 bytesHeld() const override
    {
        const qint64 held = m_link->bytesHeld();
        if (held > 0) {
            m_watcher->onHeld();
        }
        return held;
    }

    bool write(const QByteArray &bytes) override
    {
        m_watcher->beforeWrite(bytes, m_isFull, m_link->bytesHeld());
        const bool isWritten = m_link->write(bytes);
        if (isWritten) {
            m_bytesTaken += bytes.size();
            m_watcher->afterWrite(bytes);
        }
        return isWritten;
    }

    /** All that it was ever given. */
    qint64 bytesTaken() const { return m_bytesTaken; }

    bool isFree() const { return canWrite() && m_link->bytesHeld() == 0; }

    /** Full: it takes no frame until it is not any more. */
    void setFull(bool on)
    {
        m_isFull = on;
        tellWritable();
    }

private:
    /** While the host does not listen, nothing is received. */
    void receive(const QByteArray &bytes)
    {
        if (isSignalConnected(QMetaMethod::fromSignal(&DeviceLink::received))) {
            m_watcher->beforeReceived(bytes);
            Q_EMIT received(bytes);
        }
    }

    void tellWritable()
    {
        if (canWrite()) {
            Q_EMIT writable();
        }
    }

    const std::unique_ptr<host::DeviceLink> m_link;
    Watcher *const m_watcher;
    bool m_isFull = false;
    qint64 m_bytesTaken = 0;
};

} // namespace biz::kit_seeds

#endif
