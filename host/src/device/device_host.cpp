#include <device/device_host_p.h>

#include <algorithm>

#include <QtCore/QScopedValueRollback>

#include <device/channel/device_channel_p.h>
#include <loops/process_end_p.h>

namespace biz::host {

// --- Life ---------------------------------------------------------------------------------

DeviceHost::Private::Private(DeviceHost *host)
    : m_host(host)
    , m_isMine(DeviceLoops::instance().claim())
    , m_signals(host)
    , m_receiver([this] { m_signals.outbox()->emitAfter([this] { traffic.drain(); }); }, host)
    , commands(host, m_signals.outbox(), &DeviceLoops::instance().tickets())
    , link(host)
    , traffic(host, &m_signals, &commands, &link)
{
    if (!m_isMine) {
        refusal.refuse(Error::ChannelTaken,
                       QStringLiteral("the device channel is held by another DeviceHost of this process"));
        return;
    }
    device_channel::setDeviceType(device_channel::anyDeviceType);
    device_channel::setPipelined(false);
    DeviceLoops::instance().inbox().attach(&m_receiver);
    commands.setWhenWaitingChanges([this] { tellQueueSize(); });
    QObject::connect(&link, &LinkSupervisor::stateChanged, host,
                     [this](const LinkStatus &status) { m_signals.post(&DeviceHost::linkStateChanged, status); });
}

DeviceHost::Private::~Private()
{
    // At the end of the process nothing of the channel is touched any more.
    if (!m_isMine || process_end::hasBegun()) {
        return;
    }
    stop(Clock::now() + timing::destructionDeadline);
    m_signals.outbox()->tellCallbacks();
    DeviceLoops::instance().inbox().detach();
    DeviceLoops::instance().release();
}

DeviceHost::DeviceHost(QObject *parent)
    : QObject(parent)
{
    qRegisterMetaType<model_Protocoldata>();
    qRegisterMetaType<CommandResult>();
    qRegisterMetaType<ReplyJudgement>();
    qRegisterMetaType<LinkStatus>();
    qRegisterMetaType<Ticket>("biz::host::Ticket");
    d = std::make_unique<Private>(this);
}

DeviceHost::~DeviceHost() = default;

bool DeviceHost::isValid() const
{
    return d->isValid();
}

Error DeviceHost::error() const
{
    return d->refusal.error();
}

QString DeviceHost::errorString() const
{
    return d->refusal.text();
}

// --- Settings -------------------------------------------------------------------------------

bool DeviceHost::setModel(const QString &name)
{
    if (!d->isValid()) {
        return false; // error() has said why since the host was made
    }
    const auto models = checkedModels();
    const auto model = std::find_if(models.begin(), models.end(),
                                    [&name](const CheckedModel &checked) { return checked.name == name; });
    if (model == models.end()) {
        QStringList names;
        for (const CheckedModel &checked : models) {
            names.append(checked.name);
        }
        return d->refusal.refuse(
            Error::UnknownModel,
            QStringLiteral("there is no model \"%1\", but %2").arg(name, names.join(QStringLiteral(", "))));
    }
    setDeviceType(model->deviceType);
    return true;
}

void DeviceHost::setDeviceType(int deviceType)
{
    if (d->isValid()) {
        device_channel::setDeviceType(deviceType);
        d->traffic.replies().forgetVerdicts();
    }
}

void DeviceHost::setPipelined(bool on)
{
    if (d->isValid()) {
        d->traffic.gate().setPipelined(on);
    }
}

bool DeviceHost::setDefaultWaitTime(int milliseconds)
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

bool DeviceHost::setSettleTime(int milliseconds)
{
    if (!d->isValid()) {
        return false; // error() has said why since the host was made
    }
    if (milliseconds < 0) {
        return d->refusal.refuse(Error::OutOfRange,
                                 QStringLiteral("the settle time is %1 ms, 0 or more is needed").arg(milliseconds));
    }
    d->traffic.gate().setSettleTime(std::chrono::milliseconds(milliseconds));
    return true;
}

// --- The link ---------------------------------------------------------------------------------

bool DeviceHost::setLink(const QUrl &url)
{
    QString problem;
    std::unique_ptr<DeviceLink> link = makeLink(url, &problem);
    return link ? setLink(std::move(link)) : d->refusal.refuse(Error::InvalidUrl, problem);
}

bool DeviceHost::setLink(std::unique_ptr<DeviceLink> link)
{
    if (!d->mayChange(QStringLiteral("the link"))) {
        return false;
    }
    d->link.setLink(std::move(link));
    return true;
}

bool DeviceHost::setCodec(std::unique_ptr<FrameCodec> codec)
{
    if (!d->mayChange(QStringLiteral("the codec"))) {
        return false;
    }
    if (!codec) {
        return d->refusal.refuse(Error::NoCodec, QStringLiteral("there is no codec to be set"));
    }
    d->traffic.setCodec(std::move(codec));
    return true;
}

bool DeviceHost::setReplyMatcher(std::unique_ptr<ReplyMatcher> matcher)
{
    if (!d->mayChange(QStringLiteral("the reply matcher"))) {
        return false;
    }
    d->traffic.replies().setMatcher(std::move(matcher));
    return true;
}

LinkStatus DeviceHost::linkStatus() const
{
    return d->link.status();
}

bool DeviceHost::setReconnectInterval(int milliseconds)
{
    if (!d->isValid()) {
        return false; // error() has said why since the host was made
    }
    if (milliseconds < 0) {
        return d->refusal.refuse(
            Error::OutOfRange,
            QStringLiteral("the reconnect interval is %1 ms, 0 or more is needed").arg(milliseconds));
    }
    d->link.setReconnectInterval(std::chrono::milliseconds(milliseconds));
    return true;
}

void DeviceHost::setWhileDown(WhileDown policy)
{
    d->traffic.setWhileDown(policy);
}

void DeviceHost::setMayWrite(MayWrite mayWrite)
{
    d->traffic.setMayWrite(std::move(mayWrite));
}

bool DeviceHost::Private::mayChange(const QString &what)
{
    if (!m_isMine) {
        return false; // error() has said why since the host was made
    }
    return (!isStarted && !m_isStopping) ||
           refusal.refuse(Error::AlreadyRunning, QStringLiteral("%1 cannot be changed while the host runs").arg(what));
}

// --- Starting and stopping ----------------------------------------------------------------------

bool DeviceHost::start()
{
    return d->start();
}

bool DeviceHost::isRunning() const
{
    return d->isStarted;
}

StopReport DeviceHost::stop(int deadlineMs)
{
    return d->isValid() ? d->stop(Clock::now() + std::chrono::milliseconds(deadlineMs)) : StopReport();
}

bool DeviceHost::Private::start()
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
    if (link.link() == nullptr) {
        return refusal.refuse(Error::NoLink, QStringLiteral("the host has no link"));
    }
    DeviceLoops &loops = DeviceLoops::instance();
    if (!loops.join(Clock::now() + timing::loopReturnGrace).isEmpty()) {
        return refusal.refuse(Error::LoopsStillRunning, QStringLiteral("a loop of the former run has not returned"));
    }
    loops.inbox().takeAll(); // of a loop that returned late
    device_channel::reset();
    if (loops.begin() != Error::None) {
        return refusal.refuse(Error::CannotStartThread, QStringLiteral("the system gives no thread for a loop"));
    }
    isStarted = true;
    traffic.begin();
    link.start();
    return true;
}

StopReport DeviceHost::Private::stop(TimePoint deadline)
{
    StopReport report;
    // An application's own link may call back while it is closed.
    if (m_isStopping) {
        return report;
    }
    const QScopedValueRollback<bool> stopping(m_isStopping, true);
    DeviceLoops &loops = DeviceLoops::instance();
    if (isStarted) {
        isStarted = false;
        loops.tellToReturn();
        traffic.end();
        link.stop();
    }
    report.slowSteps = loops.join(deadline);
    loops.inbox().takeAll(); // for commands that end now
    report.pending = commands.endAll(Outcome::Stopped, stoppedReason());
    return report;
}

bool DeviceHost::endWriting()
{
    return d->isStarted && d->link.endWriting();
}

int DeviceHost::repliesUnderWay() const
{
    return d->traffic.repliesUnderWay();
}

// --- Commands -------------------------------------------------------------------------------------

Ticket DeviceHost::enqueue(const model_Protocoldata &command, const CommandOptions &options)
{
    return d->enqueue(command, options, nullptr);
}

Ticket DeviceHost::enqueue(const model_Protocoldata &command, const CommandOptions &options, const QObject *context,
                           EndCallback callback)
{
    if (!isCallable(context, callback, &d->refusal)) {
        return 0;
    }
    return d->enqueue(command, options, makeEndCallback<CommandResult>(context, std::move(callback)));
}

Ticket DeviceHost::Private::enqueue(const model_Protocoldata &command, const CommandOptions &options,
                                    DeviceCommands::Callback callback)
{
    if (!m_isMine || !canBeSent(command)) {
        return 0;
    }
    model_Protocoldata own = command;
    if (own.iWaitTime <= 0) {
        own.iWaitTime = static_cast<int>(defaultWait.count());
    }
    DeviceCommands::Lane &lane = commands.lane();
    if (m_isSkipping) {
        return commands.enterEnded(lane, own, options, std::move(callback), Outcome::Skipped,
                                   QStringLiteral("it was given while skip mode was on"));
    }
    if (traffic.isFailingFast()) {
        return commands.enterEnded(lane, own, options, std::move(callback), Outcome::Unreachable,
                                   traffic.unreachableReason());
    }
    const Ticket ticket = commands.enter(lane, own, options, std::move(callback));
    traffic.gate().advance();
    return ticket;
}

bool DeviceHost::Private::canBeSent(const model_Protocoldata &command)
{
    const bool isDatagrams = link.link() != nullptr && link.link()->keepsMessageBoundaries();
    return traffic.codec().canEncode(command) ||
           refusal.refuse(Error::CannotEncode,
                          QStringLiteral("a command of %1 payload bytes does not fit into a %2")
                              .arg(QString::number(command.baData.size()),
                                   isDatagrams ? QStringLiteral("datagram") : QStringLiteral("frame")));
}

bool DeviceHost::cancel(Ticket ticket)
{
    return d->cancel(ticket);
}

bool DeviceHost::Private::cancel(Ticket ticket)
{
    const EndReason reason = cancelledReason();
    if (DeviceCommand *const active = commands.find(ticket); active != nullptr && active->ticket == ticket) {
        commands.end(*active, Outcome::Cancelled, active->isWritten ? reason.whenSent : reason.whenWaiting);
        traffic.gate().advance();
    } else if (!commands.endWaiting(commands.lane(), ticket, Outcome::Cancelled, reason.whenWaiting)) {
        return false;
    }
    return true;
}

void DeviceHost::clear()
{
    d->clear();
}

void DeviceHost::Private::clear()
{
    commands.endAll(Outcome::Cleared, {QStringLiteral("the queue was cleared while its reply was awaited"),
                                       QStringLiteral("the queue was cleared before it was sent")});
    traffic.gate().advance();
}

void DeviceHost::setSkipping(bool on)
{
    d->setSkipping(on);
}

// The channel's own skip mode stays off: it discards without a word.
void DeviceHost::Private::setSkipping(bool on)
{
    m_isSkipping = on;
    if (on) {
        commands.endUnwritten(Outcome::Skipped, QStringLiteral("skip mode was switched on before it was sent"));
        traffic.gate().advance();
    }
}

int DeviceHost::waiting() const
{
    return d->commands.waiting();
}

int DeviceHost::pending() const
{
    return d->commands.pending();
}

Counters DeviceHost::counters() const
{
    return d->commands.statistics().totals();
}

// --- Events ---------------------------------------------------------------------------------------

/** However often it changes within one turn of the event loop, it is told once. */
void DeviceHost::Private::tellQueueSize()
{
    if (m_isQueueSizeDue || commands.waiting() == m_toldQueueSize) {
        return;
    }
    m_isQueueSizeDue = true;
    m_signals.outbox()->post([this] {
        m_isQueueSizeDue = false;
        m_toldQueueSize = commands.waiting();
        Q_EMIT m_host->queueSize(m_toldQueueSize);
    });
}

} // namespace biz::host
