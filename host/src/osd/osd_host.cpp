#include <osd/osd_host_p.h>

using namespace biz::host;

biz_OsdHost::biz_OsdHost(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this))
{
    qRegisterMetaType<model_OsdParam>();
    qRegisterMetaType<OsdCommandResult>();
    qRegisterMetaType<Ticket>("biz::host::Ticket");
}

biz_OsdHost::~biz_OsdHost() = default;

bool biz_OsdHost::isValid() const
{
    return d->isValid();
}

QString biz_OsdHost::errorString() const
{
    return d->error;
}

void biz_OsdHost::setDefaultWaitTime(int milliseconds)
{
    d->defaultWaitMs = milliseconds;
}

void biz_OsdHost::setPort(quint16 port)
{
    if (d->mayChangeSettings()) {
        d->port = port;
    }
}

void biz_OsdHost::setLocalAddress(const QString &address)
{
    const QHostAddress local(address);
    if (!d->mayChangeSettings()) {
        return;
    }
    if (local.isNull()) {
        d->error = QStringLiteral("\"%1\" is not an IP address").arg(address);
        return;
    }
    d->localAddress = local;
}

void biz_OsdHost::setKeepUnmatchedReplies(bool on)
{
    d->keepUnmatched = on;
}

void biz_OsdHost::setReplyMatcher(std::unique_ptr<OsdReplyMatcher> matcher)
{
    d->setReplyMatcher(std::move(matcher));
}

bool biz_OsdHost::start()
{
    return d->start();
}

bool biz_OsdHost::isRunning() const
{
    return d->run.isStarted();
}

StopReport biz_OsdHost::stop(int deadlineMs)
{
    return d->isValid() ? d->stop(deadlineMs) : StopReport();
}

Ticket biz_OsdHost::enqueue(const model_OsdParam &command)
{
    return d->enqueue(command);
}

void biz_OsdHost::clear()
{
    if (d->isValid()) {
        d->clear();
    }
}

int biz_OsdHost::waiting() const
{
    return d->ledger.waiting();
}

int biz_OsdHost::pending() const
{
    return d->ledger.commands().pending();
}

Counters biz_OsdHost::counters() const
{
    return d->ledger.counters();
}

QVector<biz_OsdHost::DeviceStatus> biz_OsdHost::devices() const
{
    return d->ledger.status();
}
