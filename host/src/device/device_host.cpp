#include <device/device_host_p.h>

#include <device/device_channel_p.h>

using namespace biz::host;

biz_DeviceHost::biz_DeviceHost(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this))
{
    qRegisterMetaType<model_Protocoldata>();
    qRegisterMetaType<CommandResult>();
    qRegisterMetaType<Ticket>("biz::host::Ticket");
}

biz_DeviceHost::~biz_DeviceHost() = default;

bool biz_DeviceHost::isValid() const
{
    return d->isValid();
}

QString biz_DeviceHost::errorString() const
{
    return d->error;
}

void biz_DeviceHost::setDeviceType(int deviceType)
{
    if (d->isValid()) {
        device_channel::setDeviceType(deviceType);
    }
}

void biz_DeviceHost::setSysPlan(int sysPlan)
{
    if (d->isValid()) {
        device_channel::setSysPlan(sysPlan);
    }
}

void biz_DeviceHost::setDefaultWaitTime(int milliseconds)
{
    d->defaultWaitMs = milliseconds;
}

void biz_DeviceHost::setUseWatchdog(bool on)
{
    d->run.setUseWatchdog(on);
}

void biz_DeviceHost::setSettleTime(int milliseconds)
{
    d->gate.setSettleTime(milliseconds);
}

void biz_DeviceHost::setReplyMatcher(std::unique_ptr<ReplyMatcher> matcher)
{
    if (d->mayChangeSettings()) {
        d->replies.setMatcher(std::move(matcher));
    }
}

void biz_DeviceHost::setLink(std::unique_ptr<DeviceLink> link)
{
    if (!d->mayChangeSettings()) {
        return;
    }
    d->link = std::move(link);
    if (d->link) {
        d->link->setParent(this); // it follows the host to another thread
    }
}

void biz_DeviceHost::setCodec(std::unique_ptr<FrameCodec> codec)
{
    if (!d->mayChangeSettings()) {
        return;
    }
    if (!codec) {
        d->error = QStringLiteral("there is no codec to be set");
        return;
    }
    d->codec = std::move(codec);
}

bool biz_DeviceHost::start()
{
    return d->start();
}

bool biz_DeviceHost::isRunning() const
{
    return d->run.isStarted();
}

StopReport biz_DeviceHost::stop(int deadlineMs)
{
    return d->isValid() ? d->stop(deadlineMs) : StopReport();
}

Ticket biz_DeviceHost::enqueue(const model_Protocoldata &command)
{
    return d->enqueue(command);
}

void biz_DeviceHost::clear()
{
    if (d->isValid()) {
        d->clear();
    }
}

void biz_DeviceHost::setSkipping(bool on)
{
    if (d->isValid()) {
        d->setSkipping(on);
    }
}

int biz_DeviceHost::waiting() const
{
    return d->ledger.tickets().waiting();
}

int biz_DeviceHost::pending() const
{
    return d->ledger.tickets().pending();
}

Counters biz_DeviceHost::counters() const
{
    return d->ledger.counters();
}
