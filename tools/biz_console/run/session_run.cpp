#include <biz_console/run/session_run.h>

#include <algorithm>
#include <cmath>

#include <QtCore/QCoreApplication>

#include <common/files/standard_streams.h>
#include <common/stop_signals.h>
#include <common/units.h>

namespace biz::console {

namespace {

constexpr int openLimitMs = 5000;

/** As often as people can follow. */
constexpr int progressPeriodMs = 200;

/** How long a late or duplicate reply may take that the session still expects. */
constexpr int graceLimitMs = 2000;

/** How long a device has to end its side of the connection when the console has ended its own. */
constexpr int endOfStreamLimitMs = 1000;

/** The host tells of a reply a few milliseconds after it came; a busy machine may take its time. */
constexpr int lookPeriodMs = 5;
constexpr int judgeLimitMs = 1000;

/** Together less than the two seconds within which a run ends when it is broken off. */
constexpr int stopLimitMs = 1000;
constexpr int lastSignalsLimitMs = 700;
static_assert(stopLimitMs + lastSignalsLimitMs < 2000, "a run that is broken off ends within two seconds");

} // namespace

SessionRun::SessionRun(RunSide channel, const RunPlan &plan, QTextStream &err)
    : m_side(std::move(channel))
    , m_events(ask([](auto &of) { return of.events(); }))
    , m_facts(ask([](const auto &of) { return of.facts(); }))
    , m_report(err)
    , m_reconnects(plan.reconnects)
    , m_walk(m_facts.repeats, m_facts.devices, plan.rounds)
    , m_pace(plan.perSecond)
    , m_turns(plan.turns)
{
    m_report.ledger().remember(m_facts.mostRemembered);
    connect(m_events.get(), &host::EventSource::happened, this, &SessionRun::hear);
    m_nextTurn.setSingleShot(true);
    m_nextTurn.setTimerType(Qt::PreciseTimer);
    connect(&m_nextTurn, &QTimer::timeout, this, &SessionRun::giveSome);
    m_limit.setSingleShot(true);
    connect(&m_limit, &QTimer::timeout, this, &SessionRun::onLimit);
    m_look.setInterval(lookPeriodMs);
    m_report.setWhenOutputFails([this] { m_outputFails.start(0); });
    m_outputFails.setSingleShot(true); // from the event loop: a sink may hear of things inside of the host's calls
    connect(&m_outputFails, &QTimer::timeout, this,
            [this] { breakOff(RunProblem::OutputFailed, tools::outputFailedText()); });
    connect(&m_look, &QTimer::timeout, this, [this] {
        if (ask([](const auto &side) { return side.repliesUnderWay(); }) == 0 && !m_isMoreToCome()) {
            QMetaObject::invokeMethod(this, &SessionRun::finishJudging, Qt::QueuedConnection);
        }
    });
    m_progress.setInterval(progressPeriodMs);
    connect(&m_progress, &QTimer::timeout, this, [this] {
        if (m_report.ledger().pending() > 0) {
            m_report.tellProgress(progress());
        }
    });
}

void SessionRun::start()
{
    m_clock.start();
    m_report.start(m_facts.start);
    m_report.ledger().setTotal(m_walk.total());
    m_limit.start(openLimitMs);
    bool isStarted = ask([](auto &side) { return side.prepare(); });
    if (isStarted && m_facts.givesBeforeOpen) {
        giveSome();
    }
    isStarted = isStarted && ask([](auto &side) { return side.start(); });
    if (!isStarted) {
        breakOff(RunProblem::LinkFailed, ask([](const auto &side) { return side.error(); }));
    }
}

void SessionRun::hear(host::Event event)
{
    if (event.kind == host::EventKind::Opened) {
        opened(); // which tells it, of either channel
    } else if (event.link && event.link->state == host::LinkState::Closed) {
        endOfReplies(); // or the run's own stop, of which the summary tells
    } else if (event.kind == host::EventKind::Given) {
        hearOfGiven(std::move(event));
    } else if (ask([&event](auto &side) { return side.complete(&event); })) {
        m_report.tell(event);
        goOnBy(event);
    }
}

/** It is the command of the present step. */
void SessionRun::hearOfGiven(host::Event event)
{
    const WalkStep &step = m_walk.step();
    QStringList which{event.device, whichOf(step)};
    which.removeAll(QString());
    event.name = m_facts.names.at(step.command);
    event.which = which.join(QStringLiteral(", "));
    m_report.tellGiven(event, ask([&step](const auto &side) { return side.expectationOf(step); }));
}

void SessionRun::goOnBy(const host::Event &event)
{
    if (event.link) {
        goOnByLink(*event.link);
        return;
    }
    if (host::outcomeOf(event.kind)) {
        m_turns.noteEnd(tools::elapsedMs(m_clock));
        giveSome();
    }
    if (host::outcomeOf(event.kind) || isExpectable(event.kind)) {
        finishIfDone();
    }
}

void SessionRun::goOnByLink(const host::LinkStatus &link)
{
    switch (link.state) {
    case host::LinkState::Up:
        opened();
        return;
    case host::LinkState::Lost:
        if (m_phase == Phase::Ending || m_phase == Phase::Judging) {
            endOfReplies(); // those that came before are still told
        } else if (m_reconnects) {
            waitForLink();
        } else {
            breakOff(RunProblem::LinkFailed, link.reason);
        }
        return;
    case host::LinkState::Connecting:
    case host::LinkState::Closed:
        return;
    }
}

void SessionRun::opened()
{
    if (m_phase == Phase::Opening) {
        m_phase = Phase::Running;
        m_limit.stop();
        m_progress.start();
        host::Event event;
        event.kind = host::EventKind::Opened;
        m_report.tell(event);
        giveSome();
        finishIfDone(); // a recording may have no command
    }
}

void SessionRun::waitForLink()
{
    if (m_phase == Phase::Opening) {
        m_limit.stop();
    } else {
        endOfReplies();
    }
}

/**
 * The host is given a part of the session at a time, so that a long one costs little memory
 * and can be stopped quickly.
 */
void SessionRun::giveSome()
{
    const auto mayHaveMore = [this] {
        return (m_phase == Phase::Opening || m_phase == Phase::Running) &&
               ask([](const auto &side) { return side.pending(); }) < m_facts.mostGivenAhead;
    };
    while (mayHaveMore() && takeTurn()) {
        if (!ask([this](auto &side) { return side.give(m_walk.step()); })) {
            breakOff(RunProblem::CommandRefused, ask([](const auto &side) { return side.error(); }));
            return;
        }
        m_walk.advance();
    }
    if (m_isInterruptedWhenGiven && m_turns.isOver()) {
        interrupt();
    }
}

/** Whether there is a command to give and it is time to. A round begins when the last one has ended. */
bool SessionRun::takeTurn()
{
    if (m_walk.isRoundGiven()) {
        if (!m_report.ledger().allGivenEnded() || !m_walk.beginRound()) {
            return false;
        }
        m_report.ledger().setTotal(m_walk.total());
    }
    const double nowMs = tools::elapsedMs(m_clock);
    if (m_turns.isDue(nowMs) && m_pace.take(nowMs)) {
        m_turns.take();
        return true;
    }
    const double waitMs = std::max(m_pace.waitMs(nowMs), m_turns.waitMs(nowMs));
    if (std::isfinite(waitMs)) {
        m_nextTurn.start(static_cast<int>(std::ceil(waitMs)));
    }
    return false;
}

host::HostMetrics SessionRun::metrics() const
{
    return ask([](const auto &side) { return side.metrics(); });
}

RunProgress SessionRun::progress() const
{
    const CommandLedger &ledger = m_report.ledger();
    RunProgress progress;
    progress.isEndless = m_walk.isEndless();
    progress.round = m_walk.step().round;
    progress.total = ledger.total();
    progress.ended = ledger.total() - ledger.pending();
    const int waitingInHost = ask([](const auto &side) { return side.waiting(); });
    progress.waiting = ledger.total() - ledger.given() + waitingInHost;
    progress.inFlight = ask([](const auto &side) { return side.pending(); }) - waitingInHost;
    progress.counters = ask([](const auto &side) { return side.counters(); });
    return progress;
}

QString SessionRun::whichOf(const WalkStep &step) const
{
    const int repeat = m_facts.repeats.at(static_cast<std::size_t>(step.command));
    QStringList which;
    if (repeat > 1) {
        which.append(QStringLiteral("%1 of %2").arg(step.number).arg(repeat));
    }
    if (m_walk.hasSeveralRounds()) {
        which.append(QStringLiteral("round %1").arg(step.round));
    }
    return which.join(QStringLiteral(", "));
}

void SessionRun::onLimit()
{
    switch (m_phase) {
    case Phase::Opening:
        breakOff(RunProblem::LinkFailed, QStringLiteral("%1 cannot be reached: no answer within %2 s")
                                             .arg(m_facts.opens, QString::number(openLimitMs / 1000)));
        return;
    case Phase::Grace:
        awaitLastReplies();
        return;
    case Phase::Ending:
        judge();
        return;
    case Phase::Stopping:
        // Its ends are known, even if not all of their signals have arrived.
        m_report.ledger().stopRest(QStringLiteral("the host was stopped"));
        finish();
        return;
    case Phase::Judging:
        finish();
        return;
    case Phase::Running: // which has no limit
    case Phase::Finished:
        return;
    }
}

void SessionRun::interrupt()
{
    if (m_walk.isEndless() && m_phase == Phase::Running) {
        endInOrder();
    } else {
        breakOff(RunProblem::Interrupted, QStringLiteral("interrupted"));
    }
}

void SessionRun::interruptWhenGiven()
{
    m_isInterruptedWhenGiven = true;
    giveSome();
}

void SessionRun::endInOrder()
{
    m_phase = Phase::Stopping;
    m_report.endOnRequest();
    m_report.ledger().setTotal(m_report.ledger().given());
    stopAndClose();
}

void SessionRun::breakOff(RunProblem problem, const QString &text)
{
    if (m_phase == Phase::Stopping || m_phase == Phase::Finished) {
        return;
    }
    if (m_phase == Phase::Ending || m_phase == Phase::Judging) {
        finish(); // all that was to be done has been done
        return;
    }
    m_phase = Phase::Stopping;
    m_report.tellProblem(problem, text);
    countNeverGiven();
    stopAndClose();
}

/** The ends of what is pending arrive as signals. */
void SessionRun::stopAndClose()
{
    stop();
    m_limit.start(m_report.ledger().pending() > 0 ? lastSignalsLimitMs : 0);
}

void SessionRun::countNeverGiven()
{
    for (int command = 0; command < m_walk.commands(); ++command) {
        const qint64 left = m_walk.left(command);
        if (left > 0) {
            m_report.ledger().addNeverGiven(m_facts.names.at(command), left);
        }
    }
}

void SessionRun::stop()
{
    m_devices = ask([](const auto &side) { return side.devices(); });
    const host::StopReport stopped = ask([](auto &side) { return side.stop(stopLimitMs); });
    if (!stopped.clean()) {
        m_report.tellProblem(RunProblem::SlowStop,
                             QStringLiteral("did not stop in time: ") + stopped.slowSteps.join(QStringLiteral(", ")));
    }
}

void SessionRun::finishIfDone()
{
    if (m_report.ledger().pending() > 0 || m_phase == Phase::Finished) {
        return;
    }
    if (m_phase == Phase::Stopping) {
        finish();
    } else if (m_phase == Phase::Running && m_report.ledger().awaitsEvents()) {
        m_phase = Phase::Grace;
        m_limit.start(graceLimitMs);
    } else if (m_phase == Phase::Running || (m_phase == Phase::Grace && !m_report.ledger().awaitsEvents())) {
        awaitLastReplies();
    }
}

/** Of the commands that have ended more replies may come than the session expects. */
void SessionRun::awaitLastReplies()
{
    m_phase = Phase::Ending;
    const bool isEndTold = ask([](auto &side) { return side.endWriting(); });
    m_limit.start(isEndTold ? endOfStreamLimitMs : m_facts.longestWaitMs);
}

void SessionRun::endOfReplies()
{
    if (m_phase == Phase::Ending) {
        judge();
    }
}

void SessionRun::judge()
{
    m_phase = Phase::Judging;
    m_limit.start(judgeLimitMs);
    m_look.start();
}

/** By an event: the host tells of the last reply by an event too, which is ahead of this one. */
void SessionRun::finishJudging()
{
    if (m_phase == Phase::Judging) {
        finish();
    }
}

void SessionRun::finish()
{
    const bool isStopped = m_phase == Phase::Stopping;
    m_phase = Phase::Finished;
    m_progress.stop();
    m_limit.stop();
    m_look.stop();
    if (!isStopped) {
        stop();
    }
    m_outputFails.stop();
    Q_EMIT finished(m_report.close(ask([](const auto &side) { return side.counters(); }), m_devices));
}

int execute(SessionRun &run)
{
    const tools::StopSignals signals;
    QObject::connect(&signals, &tools::StopSignals::stopRequested, &run, &SessionRun::interrupt);
    // Queued: a run can be over before the event loop runs.
    QObject::connect(&run, &SessionRun::finished, QCoreApplication::instance(), &QCoreApplication::exit,
                     Qt::QueuedConnection);
    run.start();
    return QCoreApplication::exec();
}

} // namespace biz::console
