#include <biz_console/osd_run.h>

#include <algorithm>

namespace biz::console {

OsdRun::OsdRun(OsdSession session, const OsdRunOptions &options, const Output &output)
    : SessionRun(output, false)
    , m_session(std::move(session))
    , m_options(options)
{
    m_host.setPort(m_session.port);
    m_host.setLocalAddress(m_options.localAddress);
    connectHost();
}

void OsdRun::connectHost()
{
    connect(&m_host, &biz_OsdHost::started, this, [this] {
        opened();
        enqueueAll();
    });
    connect(&m_host, &biz_OsdHost::sent, this, &OsdRun::onSent);
    connect(&m_host, &biz_OsdHost::ended, this, &OsdRun::onEnded);
    connect(&m_host, &biz_OsdHost::late, this,
            [this](host::Ticket ticket, const model_OsdParam & /*reply*/, double afterEndMs) {
                onReply(ticket, Event::Late, millisecondsText(afterEndMs) + QStringLiteral(" after its end"));
            });
    connect(&m_host, &biz_OsdHost::duplicate, this,
            [this](host::Ticket ticket) { onReply(ticket, Event::Duplicate, QStringLiteral("it had been answered")); });
    connect(&m_host, &biz_OsdHost::foreign, this, &OsdRun::onForeign);
    connect(&m_host, &biz_OsdHost::refused, this, [this](const QString &sender, int bytes, const QString &why) {
        report().printer().line(
            QStringLiteral("%1 bytes from %2 refused: %3").arg(QString::number(bytes), sender, why));
    });
    connect(&m_host, &biz_OsdHost::socketError, this,
            [this](const QString &why) { report().printer().line(QStringLiteral("socket: ") + why); });
}

bool OsdRun::startHost(QString *error)
{
    if (m_options.showEvents) {
        report().printer().header();
    }
    const bool started = m_host.start();
    *error = m_host.errorString();
    return started;
}

/** Device by device within each repetition: all devices have work from the start. */
void OsdRun::enqueueAll()
{
    int total = 0;
    for (const OsdCommand &command : qAsConst(m_session.commands)) {
        total += command.repeat * m_session.devices.size();
    }
    report().ledger().setTotal(total);
    for (const OsdCommand &command : qAsConst(m_session.commands)) {
        for (int number = 1; number <= command.repeat; ++number) {
            for (const QString &device : qAsConst(m_session.devices)) {
                if (!enqueue(command, device, number)) {
                    breakOff(m_host.errorString(), BadInput);
                    return;
                }
            }
        }
    }
}

bool OsdRun::enqueue(const OsdCommand &command, const QString &device, int number)
{
    Expectation expected = command.expected;
    if (m_session.silent.contains(device)) {
        expected = Expectation();
        expected.outcome = host::Outcome::GaveUp;
    }
    model_OsdParam record = command.record;
    record.qsIp = device;
    const host::Ticket ticket = m_host.enqueue(record);
    if (ticket == 0) {
        return false;
    }
    const QString which = repetition(number, command.repeat);
    report().ledger().add(ticket, command.name, which.isEmpty() ? device : device + QStringLiteral(", ") + which,
                          expected);
    return true;
}

QString OsdRun::progress() const
{
    const int all = report().ledger().total();
    return QStringLiteral("... %1 of %2 ended, %3 waiting, %4 awaiting a reply")
        .arg(all - report().ledger().pending())
        .arg(all)
        .arg(m_host.waiting())
        .arg(m_host.pending() - m_host.waiting());
}

void OsdRun::onSent(host::Ticket ticket, const model_OsdParam & /*command*/)
{
    report().noteSent();
    report().ledger().note(ticket, Event::Sent);
    print(label(ticket), eventName(Event::Sent), -1.0, {});
}

void OsdRun::onEnded(host::Ticket ticket, const host::OsdCommandResult &result)
{
    report().ledger().end(ticket, result.outcome, result.reason);
    report().noteEnded(result.roundTripMs);
    const bool answered = result.outcome == host::Outcome::Answered;
    if (answered) {
        DeviceTimes &times = m_times[result.ip];
        times.roundTrips.add(result.roundTripMs);
        times.lastAnswerSeconds = report().secondsSinceFirstSent();
    }
    if (result.attempts > 0 || result.outcome != host::Outcome::Stopped) {
        print(label(ticket), host::outcomeName(result.outcome), result.roundTripMs,
              answered ? QString() : result.reason);
    }
    finishIfDone();
}

void OsdRun::onReply(host::Ticket ticket, Event event, const QString &detail)
{
    report().ledger().note(ticket, event);
    print(label(ticket), eventName(event), -1.0, detail);
    finishIfDone();
}

void OsdRun::onForeign(const QString &sender)
{
    print(sender, eventName(Event::Foreign), -1.0, QStringLiteral("it was never given a command"));
}

QString OsdRun::label(host::Ticket ticket) const
{
    const LedgerEntry *entry = report().ledger().find(ticket);
    return entry == nullptr ? QString() : QStringLiteral("%1 (%2)").arg(entry->name, entry->which);
}

void OsdRun::print(const QString &command, const QString &event, double roundTripMs, const QString &detail)
{
    if (m_options.showEvents) {
        report().printer().event({QDateTime::currentDateTime(), -1, command, event, roundTripMs, detail});
    }
}

void OsdRun::beforeStop()
{
    for (const biz_OsdHost::DeviceStatus &device : m_host.devices()) {
        OsdTableRow row;
        row.device = device.ip;
        row.sent = device.counters.sent;
        row.answered = device.counters.answered;
        row.timedOut = device.counters.gaveUp;
        row.waiting = device.waiting;
        row.roundTrips = m_times.value(device.ip).roundTrips;
        m_rows.append(row);
    }
}

void OsdRun::printResults()
{
    report().printer().line({});
    for (const QString &line : osdTable(m_rows, m_options.showAllDevices)) {
        report().printer().line(line);
    }
    int answering = 0;
    double lastAnswer = 0.0;
    for (const OsdTableRow &row : qAsConst(m_rows)) {
        if (row.allAnswered()) {
            ++answering;
            lastAnswer = std::max(lastAnswer, m_times.value(row.device).lastAnswerSeconds);
        }
    }
    if (answering > 0) {
        report().printer().line(QStringLiteral("%1 answering devices done after %2 s")
                                    .arg(QString::number(answering), QString::number(lastAnswer, 'f', 3)));
    }
}

} // namespace biz::console
