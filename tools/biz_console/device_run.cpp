#include <biz_console/device_run.h>

#include <host/reply_words.h>

namespace biz::console {

namespace {

constexpr int connectLimitMs = 5000;

/** How long a late or duplicate reply may take that the session still expects. */
constexpr int graceLimitMs = 2000;

/** Together less than the two seconds within which a run ends when it is broken off. */
constexpr int stopLimitMs = 1000;
constexpr int lastSignalsLimitMs = 700;
static_assert(stopLimitMs + lastSignalsLimitMs < 2000, "a run that is broken off ends within two seconds");

QString repetition(int number, int count)
{
    return count == 1 ? QString() : QStringLiteral("%1 of %2").arg(number).arg(count);
}

} // namespace

DeviceRun::DeviceRun(DeviceSession session, std::unique_ptr<host::DeviceLink> link, const Output &output)
    : m_session(std::move(session))
    , m_report(output)
    , m_linkName(link->name())
{
    m_host.setLink(std::move(link));
    m_host.setDeviceType(m_session.deviceType);
    m_host.setSysPlan(m_session.sysPlan);
    m_limit.setSingleShot(true);
    m_progress.setInterval(m_report.progressPeriodMs());
    connect(&m_progress, &QTimer::timeout, this, &DeviceRun::showProgress);
    connectHost();
}

void DeviceRun::connectHost()
{
    connect(&m_host, &biz_DeviceHost::linkOpened, this, [this] {
        m_phase = Phase::Running;
        m_limit.stop();
        m_progress.start();
    });
    connect(&m_host, &biz_DeviceHost::linkClosed, this, [this](const QString &reason) {
        const bool wasOpen = m_phase != Phase::Connecting;
        breakOff((wasOpen ? QStringLiteral("%1 was closed: %2") : QStringLiteral("%1 cannot be reached: %2"))
                     .arg(m_linkName, reason),
                 LinkFailed);
    });
    connect(&m_host, &biz_DeviceHost::sent, this, &DeviceRun::onSent);
    connect(&m_host, &biz_DeviceHost::ended, this, &DeviceRun::onEnded);
    connect(&m_host, &biz_DeviceHost::rejected, this,
            [this](host::Ticket ticket, const model_Protocoldata &reply, const QString &why) {
                onReply(ticket, Event::Rejected, reply, why);
            });
    connect(&m_host, &biz_DeviceHost::late, this,
            [this](host::Ticket ticket, const model_Protocoldata &reply, double afterEndMs) {
                onReply(ticket, Event::Late, reply, millisecondsText(afterEndMs) + QStringLiteral(" after the end"));
            });
    connect(&m_host, &biz_DeviceHost::duplicate, this, [this](host::Ticket ticket, const model_Protocoldata &reply) {
        onReply(ticket, Event::Duplicate, reply, {});
    });
    connect(&m_host, &biz_DeviceHost::foreign, this, &DeviceRun::onForeign);
    connect(&m_host, &biz_DeviceHost::refused, this, [this](int bytes, const QString &why) {
        m_report.printer().line(QStringLiteral("%1 received bytes refused: %2").arg(QString::number(bytes), why));
    });
}

void DeviceRun::start()
{
    m_report.printer().header();
    enqueueAll();
    connect(&m_limit, &QTimer::timeout, this, [this] {
        if (m_phase == Phase::Connecting) {
            breakOff(QStringLiteral("%1 cannot be reached: no answer within %2 s")
                         .arg(m_linkName, QString::number(connectLimitMs / 1000)),
                     LinkFailed);
        } else {
            finish();
        }
    });
    m_limit.start(connectLimitMs);
    if (!m_host.start()) {
        breakOff(m_host.errorString(), LinkFailed);
    }
}

void DeviceRun::enqueueAll()
{
    for (const DeviceCommand &command : qAsConst(m_session.commands)) {
        for (int number = 1; number <= command.repeat; ++number) {
            const host::Ticket ticket = m_host.enqueue(command.record);
            m_report.ledger().add(ticket, command.name, repetition(number, command.repeat), command.expected);
        }
    }
}

void DeviceRun::interrupt()
{
    breakOff(QStringLiteral("interrupted"), NotAsExpected);
}

void DeviceRun::breakOff(const QString &problem, ExitCode code)
{
    if (m_phase == Phase::Stopping || m_phase == Phase::Finished) {
        return;
    }
    m_phase = Phase::Stopping;
    m_report.noteProblem(problem, code);
    const host::StopReport stopped = m_host.stop(stopLimitMs);
    if (!stopped.clean()) {
        m_report.noteProblem(QStringLiteral("did not stop in time: ") + stopped.slowSteps.join(QStringLiteral(", ")),
                             code);
    }
    // The ends of what was pending arrive as signals.
    m_limit.start(lastSignalsLimitMs);
    if (m_report.ledger().pending() == 0) {
        m_limit.start(0);
    }
}

void DeviceRun::finishIfDone()
{
    if (m_report.ledger().pending() > 0 || m_phase == Phase::Finished) {
        return;
    }
    if (m_phase == Phase::Stopping || !m_report.ledger().awaitsEvents()) {
        finish();
    } else if (m_phase == Phase::Running) {
        m_phase = Phase::Grace;
        m_limit.start(graceLimitMs);
    }
}

void DeviceRun::finish()
{
    m_phase = Phase::Finished;
    m_progress.stop();
    m_limit.stop();
    const host::StopReport stopped = m_host.stop(stopLimitMs);
    if (!stopped.clean()) {
        m_report.noteProblem(QStringLiteral("did not stop in time: ") + stopped.slowSteps.join(QStringLiteral(", ")),
                             NotAsExpected);
    }
    Q_EMIT finished(m_report.close(m_host.counters()));
}

void DeviceRun::showProgress()
{
    const int all = m_report.ledger().size();
    const int pending = m_report.ledger().pending();
    if (pending == 0) {
        return;
    }
    m_report.printer().progress(QStringLiteral("... %1 of %2 ended, %3 waiting, %4 awaiting a reply")
                                    .arg(all - pending)
                                    .arg(all)
                                    .arg(m_host.waiting())
                                    .arg(m_host.pending() - m_host.waiting()));
}

QString DeviceRun::label(host::Ticket ticket, const QString &codes) const
{
    const LedgerEntry *entry = m_report.ledger().find(ticket);
    if (entry == nullptr || entry->name == codes) {
        return codes;
    }
    return codes.isEmpty() ? entry->name : QStringLiteral("%1 %2").arg(codes, entry->name);
}

void DeviceRun::print(host::Ticket ticket, int sequence, const QString &event, const QString &detail,
                      double roundTripMs)
{
    const auto sent = m_sent.constFind(ticket);
    const QString codes = sent == m_sent.constEnd() ? QString() : host::commandText(*sent);
    m_report.printer().event(
        {QDateTime::currentDateTime(), sequence, label(ticket, codes), event, roundTripMs, detail});
}

void DeviceRun::onSent(host::Ticket ticket, int attempt, const model_Protocoldata &command)
{
    m_report.noteSent();
    const Event event = attempt == 1 ? Event::Sent : Event::Resent;
    m_report.ledger().note(ticket, event);
    m_sent.insert(ticket, command);
    m_lastSent = ticket;
    print(ticket, command.ucHead[0], eventName(event), {});
}

void DeviceRun::onEnded(host::Ticket ticket, const host::CommandResult &result)
{
    m_report.ledger().end(ticket, result.outcome, result.reason);
    m_report.noteEnded(result.roundTripMs);
    const auto sent = m_sent.constFind(ticket);
    // Those that were never sent are accounted for in the closing list.
    if (sent != m_sent.constEnd() || result.outcome != host::Outcome::Stopped) {
        const int sequence = sent == m_sent.constEnd() ? -1 : sent->ucHead[0];
        const bool answered = result.outcome == host::Outcome::Answered;
        print(ticket, sequence, host::outcomeName(result.outcome), answered ? QString() : result.reason,
              result.roundTripMs);
    }
    m_sent.remove(ticket);
    finishIfDone();
}

void DeviceRun::onReply(host::Ticket ticket, Event event, const model_Protocoldata &reply, const QString &detail)
{
    m_report.ledger().note(ticket, event, event == Event::Rejected ? detail : QString());
    m_report.printer().event({QDateTime::currentDateTime(), reply.ucHead[0], label(ticket, host::commandText(reply)),
                              eventName(event), -1.0, detail});
    finishIfDone();
}

/** It belongs to no command; the one sent last is the one that its device should have answered. */
void DeviceRun::onForeign(const model_Protocoldata &reply)
{
    m_report.ledger().note(m_lastSent, Event::Foreign);
    m_report.printer().event({QDateTime::currentDateTime(), reply.ucHead[0], host::commandText(reply),
                              eventName(Event::Foreign), -1.0, QStringLiteral("to none of the last 256 commands")});
    finishIfDone();
}

} // namespace biz::console
