#include <osd/osd_host_p.h>

#include <algorithm>

#include <host/osd_datagram_codec.h>
#include <osd/osd_channel_p.h>

using namespace biz::host;

namespace {

using std::chrono::milliseconds;

/** How often the channel is asked which devices it has given up; it decides twice a second. */
constexpr milliseconds pollPeriod{100};

/** A destructor stops for this long at most. */
constexpr int destructionDeadlineMs = 2000;

} // namespace

biz_OsdHost::Private::Private(biz_OsdHost *host)
    : signalsOfHost(host)
    , run([this] { signalsOfHost.emitAfter([this] { drainInbox(); }); }, host)
    , pollTimer(host)
    , startTimer(host)
    , socket(host)
{
    if (!isValid()) {
        error = QStringLiteral("the OSD channel is held by another biz_OsdHost of this process");
    }
    pollTimer.setInterval(pollPeriod);
    QObject::connect(&pollTimer, &QTimer::timeout, host, [this] { poll(); });
    startTimer.setSingleShot(true);
    QObject::connect(&startTimer, &QTimer::timeout, host, [this] { startLoops(); });
    QObject::connect(&socket, &QUdpSocket::readyRead, host, [this] { readDatagrams(); });
}

biz_OsdHost::Private::~Private()
{
    if (isValid()) {
        stop(destructionDeadlineMs);
    }
}

bool biz_OsdHost::Private::mayChangeSettings()
{
    if (run.isStarted()) {
        error = QStringLiteral("port, local address and reply matcher cannot be changed while the host runs");
    }
    return !run.isStarted();
}

void biz_OsdHost::Private::setReplyMatcher(std::unique_ptr<OsdReplyMatcher> replyMatcher)
{
    if (mayChangeSettings()) {
        matcher = std::move(replyMatcher);
        ledger.setKeepEndedRecords(matcher != nullptr);
    }
}

// --- Starting and stopping ----------------------------------------------------------

bool biz_OsdHost::Private::start()
{
    if (!run.mayStart(&error)) {
        return false;
    }
    if (!bindSocket()) {
        return false;
    }
    run.setStarted(true);
    const auto wait = std::chrono::ceil<milliseconds>(OsdRun::mayBeginAt() - Clock::now());
    startTimer.start(std::max(wait, milliseconds(0)));
    return true;
}

bool biz_OsdHost::Private::bindSocket()
{
    if (socket.bind(localAddress, 0)) {
        return true;
    }
    error = QStringLiteral("cannot bind a UDP socket to %1: %2").arg(localAddress.toString(), socket.errorString());
    socket.close();
    return false;
}

void biz_OsdHost::Private::startLoops()
{
    osd_channel::reset();
    for (const Ticket ticket : ledger.commands().all()) {
        queue(*ledger.find(OsdLedger::tagOf(ticket)));
    }
    run.begin();
    signalsOfHost.post(&biz_OsdHost::started);
}

StopReport biz_OsdHost::Private::stop(int deadlineMs)
{
    StopReport report;
    const TimePoint deadline = Clock::now() + milliseconds(deadlineMs);
    startTimer.stop();
    if (run.hasLoops()) {
        drainInbox();
        run.tellLoopsToReturn();
        run.letWorkerGo();
    }
    report.slowSteps = run.slowLoops(deadline);
    socket.close();
    run.setStarted(false);
    osd_channel::reset();
    report.pending = ledger.endAll(Outcome::Stopped, stoppedReason());
    updatePolling();
    return report;
}

// --- Commands -------------------------------------------------------------------------

Ticket biz_OsdHost::Private::enqueue(const model_OsdParam &command)
{
    if (!isValid() || !isAcceptable(command)) {
        return 0;
    }
    model_OsdParam own = command;
    if (own.iWaitTime <= 0) {
        own.iWaitTime = defaultWaitMs;
    }
    const OsdCommand &entered = ledger.enter(own);
    // Until the loops run it waits here: loops of a former run could still take it.
    if (run.hasLoops()) {
        queue(entered);
    }
    return entered.ticket;
}

bool biz_OsdHost::Private::isAcceptable(const model_OsdParam &command)
{
    const QHostAddress address(command.qsIp);
    const QString canonical = osdDeviceKey(address);
    if (address.isNull()) {
        error = QStringLiteral("\"%1\" is not an IP address").arg(command.qsIp);
        return false;
    }
    if (canonical != command.qsIp) {
        error = QStringLiteral("\"%1\" is not the canonical text of its address, which is \"%2\"")
                    .arg(command.qsIp, canonical);
        return false;
    }
    if (command.baData.size() > OsdDatagramCodec::maxPayload) {
        error = QStringLiteral("a payload of %1 bytes does not fit into a datagram, which holds %2 at most")
                    .arg(command.baData.size())
                    .arg(OsdDatagramCodec::maxPayload);
        return false;
    }
    return true;
}

void biz_OsdHost::Private::queue(const OsdCommand &command)
{
    model_OsdParam queued = command.record;
    queued.nTag = OsdLedger::tagOf(command.ticket);
    osd_channel::push(queued);
}

void biz_OsdHost::Private::clear()
{
    if (run.hasLoops()) {
        run.worker()->clearQueue();
    }
    // What the send loop holds in its hands right now has ended as well: its announcement
    // will find no command, and nothing is sent.
    ledger.endAll(Outcome::Cleared, {QStringLiteral("the channel was cleared while its reply was awaited"),
                                     QStringLiteral("the channel was cleared before it was sent")});
}
