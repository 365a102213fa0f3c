#include <device/device_host_p.h>

#include <device/device_channel_p.h>

using namespace biz::host;

namespace {

using std::chrono::milliseconds;

/** A destructor stops for this long at most. */
constexpr int destructionDeadlineMs = 2000;

} // namespace

biz_DeviceHost::Private::Private(biz_DeviceHost *host)
    : q(host)
    , signalsOfHost(host)
    , run([this] { signalsOfHost.emitAfter([this] { drainInbox(); }); }, host)
    , gate(&run, &ledger.tickets(), host)
    , watch(
          &ledger,
          [this] {
              drainInbox();
              watch.endOverdue();
              watch.schedule();
          },
          host)
{
    if (isValid()) {
        device_channel::setDeviceType(device_channel::anyDeviceType);
        device_channel::setSysPlan(device_channel::oneInFlight);
    } else {
        error = QStringLiteral("the device channel is held by another biz_DeviceHost of this process");
    }
}

biz_DeviceHost::Private::~Private()
{
    if (isValid()) {
        stop(destructionDeadlineMs);
    }
}

bool biz_DeviceHost::Private::mayChangeSettings()
{
    if (run.isStarted()) {
        error = QStringLiteral("link, codec and reply matcher cannot be changed while the host runs");
    }
    return !run.isStarted();
}

// --- Starting and stopping ----------------------------------------------------------

bool biz_DeviceHost::Private::start()
{
    if (!run.mayStart(&error)) {
        return false;
    }
    if (!link) {
        error = QStringLiteral("the host has no link");
        return false;
    }
    run.setStarted(true);
    connectLink();
    link->open();
    return true;
}

void biz_DeviceHost::Private::connectLink()
{
    QObject::connect(link.get(), &DeviceLink::opened, q, [this] {
        startLoops();
        signalsOfHost.post(&biz_DeviceHost::linkOpened);
    });
    QObject::connect(link.get(), &DeviceLink::closed, q, [this](const QString &reason) {
        codec->reset();
        // Also where it could not be opened: commands end by their time-outs, not never.
        startLoops();
        signalsOfHost.post(&biz_DeviceHost::linkClosed, reason);
    });
    QObject::connect(link.get(), &DeviceLink::received, q, [this](const QByteArray &bytes) { onReceived(bytes); });
}

void biz_DeviceHost::Private::startLoops()
{
    if (run.hasLoops()) {
        return;
    }
    resetChannel();
    for (const Ticket ticket : ledger.tickets().all()) {
        queue(*ledger.tickets().find(ticket));
    }
    run.begin();
}

StopReport biz_DeviceHost::Private::stop(int deadlineMs)
{
    StopReport report;
    const TimePoint deadline = Clock::now() + milliseconds(deadlineMs);
    if (run.hasLoops()) {
        drainInbox();
        run.tellLoopsToReturn();
        run.joinLoops(deadline);
    }
    if (run.isStarted()) {
        run.setStarted(false);
        link->close();
        link->disconnect(q);
        codec->reset();
    }
    if (run.hasLoops()) {
        // With the link closed: what was announced meanwhile counts, but is not sent.
        drainInbox();
        run.letWorkerGo();
    }
    report.slowSteps = run.slowLoops(deadline);
    resetChannel();
    report.pending = ledger.endAll(Outcome::Stopped, stoppedReason());
    return report;
}

void biz_DeviceHost::Private::resetChannel()
{
    device_channel::reset();
    replies.forget();
    gate.cancelQuietTime();
    watch.schedule();
}

// --- Commands -------------------------------------------------------------------------

Ticket biz_DeviceHost::Private::enqueue(const model_Protocoldata &command)
{
    if (!isValid()) {
        return 0;
    }
    model_Protocoldata own = command;
    if (own.iWaitTime <= 0) {
        own.iWaitTime = defaultWaitMs;
    }
    if (skipping) {
        return ledger.enterSkipped(own);
    }
    const DeviceCommand &entered = ledger.enter(own);
    // Until the loops run it waits here: loops of a former run could still take it.
    if (run.hasLoops()) {
        queue(entered);
        gate.settle();
    }
    return entered.ticket;
}

void biz_DeviceHost::Private::queue(const DeviceCommand &command)
{
    model_Protocoldata queued = command.record;
    queued.nTag = DeviceTickets::tagOf(command.ticket);
    device_channel::push(queued);
}

void biz_DeviceHost::Private::clear()
{
    device_channel::clear();
    ledger.endAll(Outcome::Cleared, {QStringLiteral("the queue was cleared while its reply was awaited"),
                                     QStringLiteral("the queue was cleared before it was sent")});
    gate.settle();
}

// The channel's own skip mode stays off: it discards without the lock and without a word, and
// may still be at it when the mode has been switched off and the next command is pushed.
void biz_DeviceHost::Private::setSkipping(bool on)
{
    skipping = on;
    if (!on) {
        return;
    }
    const QString reason = QStringLiteral("skip mode was switched on before it was sent");
    if (!run.hasLoops()) {
        ledger.endAll(Outcome::Skipped, {reason, reason});
        return;
    }
    for (auto discarded = device_channel::takeQueue(); !discarded.empty(); discarded.pop()) {
        if (const DeviceCommand *command = ledger.tickets().find(discarded.front().nTag)) {
            ledger.end(command->ticket, Outcome::Skipped, reason);
        }
    }
}
