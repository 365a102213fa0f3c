#ifndef BIZ_KIT_SEEDS_WATCHED_LINK_H
#define BIZ_KIT_SEEDS_WATCHED_LINK_H

#include <functional>
#include <memory>

#include <host/device_link.h>

namespace biz::kit_seeds {

/** A link that shows every frame to the test at the moment in which the host writes it. */
class WatchedLink final : public host::DeviceLink
{
    Q_OBJECT

public:
    using OnWrite = std::function<void(const QByteArray &frame)>;

    WatchedLink(std::unique_ptr<host::DeviceLink> link, OnWrite onWrite)
        : m_link(std::move(link))
        , m_onWrite(std::move(onWrite))
    {
        connect(m_link.get(), &DeviceLink::opened, this, &DeviceLink::opened);
        connect(m_link.get(), &DeviceLink::closed, this, &DeviceLink::closed);
        connect(m_link.get(), &DeviceLink::received, this, &DeviceLink::received);
        connect(m_link.get(), &DeviceLink::writable, this, &DeviceLink::writable);
    }

    void open() override { m_link->open(); }
    void close() override { m_link->close(); }
    bool isOpen() const override { return m_link->isOpen(); }
    bool canWrite() const override { return m_link->canWrite(); }
    qint64 bytesHeld() const override { return m_link->bytesHeld(); }
    void discard() override { m_link->discard(); }
    QString name() const override { return m_link->name(); }

    bool write(const QByteArray &bytes) override
    {
        const bool isWritten = m_link->write(bytes);
        if (isWritten) {
            m_onWrite(bytes);
        }
        return isWritten;
    }

private:
    const std::unique_ptr<host::DeviceLink> m_link;
    const OnWrite m_onWrite;
};

} // namespace biz::kit_seeds

#endif
