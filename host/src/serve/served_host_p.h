#ifndef BIZ_HOST_SERVE_SERVED_HOST_P_H
#define BIZ_HOST_SERVE_SERVED_HOST_P_H

#include <functional>

#include <host/device_host.h>
#include <host/osd_host.h>
#include <serve/request_p.h>

namespace biz::host {

/** What serving asks of a host of either channel. */
class ServedHost
{
public:
    ServedHost() = default;
    virtual ~ServedHost() = default;
    ServedHost(const ServedHost &) = delete;
    ServedHost &operator=(const ServedHost &) = delete;

    virtual ServedChannel channel() const = 0;
    virtual Ticket enqueue(const Request &request, const CommandOptions &options) = 0;
    virtual qint64 payloadOf(const Request &request) const = 0;
    virtual bool cancel(Ticket ticket) = 0;
    virtual void clear() = 0;
    virtual void setMayWrite(std::function<bool()> mayWrite) = 0;
    virtual bool start() = 0;
    virtual void stop(int deadlineMs) = 0;
    virtual QString errorString() const = 0;
};

/** What the hosts of both channels do alike. */
template<typename Host>
class ServedHostOf : public ServedHost
{
public:
    explicit ServedHostOf(Host &host)
        : m_host(host)
    {
    }

    bool cancel(Ticket ticket) override { return m_host.cancel(ticket); }
    void clear() override { m_host.clear(); }
    void setMayWrite(std::function<bool()> mayWrite) override { m_host.setMayWrite(std::move(mayWrite)); }
    bool start() override { return m_host.start(); }
    void stop(int deadlineMs) override { m_host.stop(deadlineMs); }
    QString errorString() const override { return m_host.errorString(); }

protected:
    Host &m_host;
};

class ServedDeviceHost final : public ServedHostOf<DeviceHost>
{
public:
    using ServedHostOf::ServedHostOf;

    ServedChannel channel() const override { return ServedChannel::Device; }
    qint64 payloadOf(const Request &request) const override { return request.device.baData.size(); }
    Ticket enqueue(const Request &request, const CommandOptions &options) override
    {
        return m_host.enqueue(request.device, options);
    }
};

class ServedOsdHost final : public ServedHostOf<OsdHost>
{
public:
    using ServedHostOf::ServedHostOf;

    ServedChannel channel() const override { return ServedChannel::Osd; }
    qint64 payloadOf(const Request &request) const override
    {
        return request.osd.baData.size() + request.osd.qsOsdText.size();
    }
    Ticket enqueue(const Request &request, const CommandOptions &options) override
    {
        return m_host.enqueue(request.osd, options);
    }
};

} // namespace biz::host

#endif
