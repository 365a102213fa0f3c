#include <osd/osd_host_p.h>

#include <QtCore/QScopedValueRollback>

#include <host/osd_datagram_codec.h>
#include <loops/process_end_p.h>
#include <osd/channel/osd_channel_p.h>
#include <osd/osd_device_key_p.h>

namespace biz::host {

static_assert(std::chrono::milliseconds(OsdHost::defaultWaitMs) == timing::osdDefaultWait,
              "the header tells the wait that holds");

namespace {

EndReason clearedReason()
{
    return {QStringLiteral("the channel was cleared while its reply was awaited"),
            QStringLiteral("the channel was cleared before it was sent")};
}

} // namespace

// --- Life -------------------------------------------------------------------------------------

OsdHost::Private::Private(OsdHost *host)
    : m_isMine(OsdLoops::instance().claim())
    , m_signals(host)
    , m_receiver([this] { m_signals.outbox()->emitAfter([this] { traffic.drain(); }); }, host)
    , commands(host, m_signals.outbox(), &OsdLoops::instance().tickets())
    , traffic(host, &m_signals, &commands)
{
    if (m_isMine) {
        osd_channel::dropReplies(); // a former host's
        OsdLoops::instance().inbox().attach(&m_receiver);
    } else {
        refusal.refuse(Error::ChannelTaken,
                       QStringLiteral("the OSD channel is held by another OsdHost of this process"));
    }
}

OsdHost::Private::~Private()
{
    // At the end of the process nothing of the channel is touched any more.
    if (!m_isMine || process_end::hasBegun()) {
        return;
    }
    stop();
    m_signals.outbox()->tellCallbacks();
    OsdLoops &loops = OsdLoops::instance();
    for (const OsdMessage &message : loops.inbox().detach()) {
        if (message.kind == OsdMessage::Kind::Announced) {
            loops.letThrough(message.record);
        }
    }
    loops.release();
}

OsdHost::OsdHost(QObject *parent)
    : QObject(parent)
{
    qRegisterMetaType<model_OsdParam>();
    qRegisterMetaType<OsdCommandResult>();
    qRegisterMetaType<Ticket>("biz::host::Ticket");
    d = std::make_unique<Private>(this);
}

OsdHost::~OsdHost() = default;

bool OsdHost::isValid() const
{
    return d->isValid();
}

Error OsdHost::error() const
{
    return d->refusal.error();
}

QString OsdHost::errorString() const
{
    return d->refusal.text();
}

// --- Settings -----------------------------------------------------------------------------------

bool OsdHost::setDefaultWaitTime(int milliseconds)
{
    if (!d->isValid()) {
        return false; // error() has said why since the host was made
    }
    if (milliseconds < 1) {
        return d->refusal.refuse(Error::OutOfRange,
                                 QStringLiteral("the default wait is %1 ms, 1 or more is needed").arg(milliseconds));
    }
    d->defaultWait = std::chrono::milliseconds(milliseconds);
    return true;
}

void OsdHost::setMayWrite(MayWrite mayWrite)
{
    d->traffic.setMayWrite(std::move(mayWrite));
}

bool OsdHost::setPort(quint16 port)
{
    if (!d->mayChange(QStringLiteral("the port"))) {
        return false;
    }
    if (port == 0) {
        return d->refusal.refuse(Error::OutOfRange, QStringLiteral("the devices' port is 0, 1 or more is needed"));
    }
    d->port = port;
    return true;
}

bool OsdHost::setLocalAddress(const QString &address)
{
    if (!d->mayChange(QStringLiteral("the local address"))) {
        return false;
    }
    const QHostAddress local(address);
    if (local.isNull()) {
        return d->refusal.refuse(Error::InvalidAddress, QStringLiteral("\"%1\" is not an IP address").arg(address));
    }
    d->localAddress = local;
    return true;
}

void OsdHost::setKeepUnmatchedReplies(bool on)
{
    d->traffic.setKeepUnmatched(on);
}

bool OsdHost::setReplyMatcher(std::unique_ptr<OsdReplyMatcher> matcher)
{
    if (!d->mayChange(QStringLiteral("the reply matcher"))) {
        return false;
    }
    d->traffic.setMatcher(std::move(matcher));
    return true;
}

bool OsdHost::setTransport(std::unique_ptr<DatagramTransport> transport)
{
    if (!d->mayChange(QStringLiteral("the transport"))) {
        return false;
    }
    d->traffic.setTransport(std::move(transport));
    return true;
}

bool OsdHost::Private::mayChange(const QString &what)
{
    if (!m_isMine) {
        return false; // error() has said why since the host was made
    }
    return (!isStarted && !m_isStopping) ||
           refusal.refuse(Error::AlreadyRunning, QStringLiteral("%1 cannot be changed while the host runs").arg(what));
}

// --- Starting and stopping ------------------------------------------------------------------------

bool OsdHost::start()
{
    return d->start();
}

bool OsdHost::isRunning() const
{
    return d->isStarted;
}

StopReport OsdHost::stop(int /*deadlineMs*/)
{
    return d->isValid() ? d->stop() : StopReport();
}

bool OsdHost::Private::start()
{
    if (!m_isMine) {
        return false; // error() has said why since the host was made
    }
    if (isStarted) {
        return refusal.refuse(Error::AlreadyRunning, QStringLiteral("the host runs already"));
    }
    if (m_isStopping) {
        return refusal.refuse(Error::LoopsStillRunning, QStringLiteral("the host is being stopped"));
    }
    OsdLoops &loops = OsdLoops::instance();
    if (!loops.areRunning() && loops.begin() != Error::None) {
        return refusal.refuse(Error::CannotStartThread, QStringLiteral("the system gives no thread for a loop"));
    }
    const QString problem = traffic.begin(localAddress, port);
    if (!problem.isEmpty()) {
        return refusal.refuse(Error::CannotBind,
                              QStringLiteral("cannot bind to %1: %2").arg(localAddress.toString(), problem));
    }
    isStarted = true;
    m_signals.post(&OsdHost::started);
    return true;
}

StopReport OsdHost::Private::stop()
{
    StopReport report;
    // An application's own transport may call back while it is closed.
    if (m_isStopping) {
        return report;
    }
    const QScopedValueRollback<bool> stopping(m_isStopping, true);
    const bool wasStarted = std::exchange(isStarted, false);
    if (wasStarted) {
        traffic.end();
    }
    report.pending = commands.pending();
    for (OsdDevice &device : commands.devices()) {
        freeAndEnd(device, Outcome::Stopped, stoppedReason());
    }
    if (wasStarted) {
        traffic.close();
    }
    return report;
}

// --- Commands -------------------------------------------------------------------------------------

Ticket OsdHost::enqueue(const model_OsdParam &command, const CommandOptions &options)
{
    return d->enqueue(command, options, nullptr);
}

Ticket OsdHost::enqueue(const model_OsdParam &command, const CommandOptions &options, const QObject *context,
                        EndCallback callback)
{
    if (!isCallable(context, callback, &d->refusal)) {
        return 0;
    }
    return d->enqueue(command, options, makeEndCallback<OsdCommandResult>(context, std::move(callback)));
}

Ticket OsdHost::Private::enqueue(const model_OsdParam &command, const CommandOptions &options,
                                 OsdCommands::Callback callback)
{
    if (!m_isMine || !canBeSent(command)) {
        return 0;
    }
    model_OsdParam own = command;
    if (own.iWaitTime <= 0) {
        own.iWaitTime = static_cast<int>(defaultWait.count());
    }
    OsdDevice &device = commands.knownDevice(own.qsIp);
    const Ticket ticket = commands.enter(device.lane, own, options, std::move(callback));
    traffic.advance(device);
    return ticket;
}

bool OsdHost::Private::canBeSent(const model_OsdParam &command)
{
    if (commands.device(command.qsIp) == nullptr && !isAddressOfOneDevice(command.qsIp)) {
        return false;
    }
    return command.baData.size() <= OsdDatagramCodec::maxPayload ||
           refusal.refuse(Error::CannotEncode,
                          QStringLiteral("a payload of %1 bytes does not fit into a datagram, which holds %2 at most")
                              .arg(command.baData.size())
                              .arg(OsdDatagramCodec::maxPayload));
}

bool OsdHost::Private::isAddressOfOneDevice(const QString &ip)
{
    const QHostAddress address(ip);
    const QString canonical = osdDeviceKey(address);
    QString problem;
    if (address.isNull()) {
        problem = QStringLiteral("is not an IP address");
    } else if (address.isMulticast() || address.isBroadcast() || address == QHostAddress(QHostAddress::AnyIPv4) ||
               address == QHostAddress(QHostAddress::AnyIPv6)) {
        problem = QStringLiteral("is not the address of one device");
    } else if (canonical != ip) {
        problem =
            QStringLiteral("is not the canonical text of its address, which is \"") + canonical + QLatin1Char('"');
    }
    return problem.isEmpty() || refusal.refuse(Error::InvalidAddress, QStringLiteral("\"%1\" %2").arg(ip, problem));
}

bool OsdHost::cancel(Ticket ticket)
{
    return d->cancel(ticket);
}

bool OsdHost::Private::cancel(Ticket ticket)
{
    const EndReason reason = cancelledReason();
    if (OsdCommand *const active = commands.find(ticket); active != nullptr && active->ticket == ticket) {
        OsdDevice &device = *commands.device(active->record.qsIp);
        commands.end(*active, Outcome::Cancelled, active->isWritten ? reason.whenSent : reason.whenWaiting);
        traffic.free(device, ticket);
        traffic.advance(device);
        return true;
    }
    for (OsdDevice &device : commands.devices()) {
        if (commands.endWaiting(device.lane, ticket, Outcome::Cancelled, reason.whenWaiting)) {
            return true;
        }
    }
    return false;
}

void OsdHost::clear()
{
    for (OsdDevice &device : d->commands.devices()) {
        d->freeAndEnd(device, Outcome::Cleared, clearedReason());
    }
}

void OsdHost::clear(const QString &ip)
{
    if (OsdDevice *const device = d->commands.device(ip)) {
        d->freeAndEnd(*device, Outcome::Cleared, clearedReason());
    }
}

void OsdHost::forget(const QString &ip)
{
    if (OsdDevice *const device = d->commands.device(ip)) {
        d->freeAndEnd(*device, Outcome::Cleared, clearedReason());
        d->traffic.forget(*device);
        d->commands.forget(*device);
    }
}

void OsdHost::Private::freeAndEnd(OsdDevice &device, Outcome outcome, const EndReason &reason)
{
    const Ticket inFlight = device.inFlight;
    commands.endAll(device, outcome, reason);
    if (inFlight != 0) {
        traffic.free(device, inFlight);
    }
}

int OsdHost::waiting() const
{
    return d->commands.waiting();
}

int OsdHost::pending() const
{
    return d->commands.pending();
}

Counters OsdHost::counters() const
{
    return d->commands.statistics().totals();
}

QVector<OsdDeviceStatus> OsdHost::devices() const
{
    return d->commands.status();
}

} // namespace biz::host
