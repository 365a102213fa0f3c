#include <biz_console/device_run.h>

#include <host/reply_words.h>

namespace biz::console {

namespace {

/** More than the channel can send in ten seconds. */
constexpr int commandsGivenAhead = 1000;

int totalOf(const DeviceSession &session)
{
    int total = 0;
    for (const DeviceCommand &command : session.commands) {
        total += command.repeat;
    }
    return total;
}

} // namespace

DeviceRun::DeviceRun(DeviceSession session, std::unique_ptr<host::DeviceLink> link, const Output &output)
    : SessionRun(output, true)
    , m_session(std::move(session))
    , m_linkName(link->name())
{
    m_host.setLink(std::move(link));
    m_host.setDeviceType(m_session.deviceType);
    m_host.setSysPlan(m_session.sysPlan);
    connectHost();
    connectReplies();
}

void DeviceRun::connectHost()
{
    connect(&m_host, &biz_DeviceHost::linkOpened, this, &DeviceRun::opened);
    connect(&m_host, &biz_DeviceHost::linkClosed, this,
            [this](const QString &reason) { breakOff(reason, LinkFailed); });
    connect(&m_host, &biz_DeviceHost::sent, this, &DeviceRun::onSent);
    connect(&m_host, &biz_DeviceHost::ended, this, &DeviceRun::onEnded);
}

void DeviceRun::connectReplies()
{
    connect(&m_host, &biz_DeviceHost::rejected, this,
            [this](host::Ticket ticket, const model_Protocoldata &reply, const QString &why) {
                onReply(ticket, Event::Rejected, reply, why);
            });
    connect(&m_host, &biz_DeviceHost::late, this,
            [this](host::Ticket ticket, const model_Protocoldata &reply, double afterEndMs) {
                onReply(ticket, Event::Late, reply, millisecondsText(afterEndMs) + QStringLiteral(" after its end"));
            });
    connect(&m_host, &biz_DeviceHost::duplicate, this, [this](host::Ticket ticket, const model_Protocoldata &reply) {
        onReply(ticket, Event::Duplicate, reply, QStringLiteral("it had been answered"));
    });
    connect(&m_host, &biz_DeviceHost::foreign, this, &DeviceRun::onForeign);
    connect(&m_host, &biz_DeviceHost::refused, this, [this](int bytes, const QString &why) {
        report().printer().line(QStringLiteral("%1 received bytes refused: %2").arg(QString::number(bytes), why));
    });
}

bool DeviceRun::startHost(QString *error)
{
    report().printer().header();
    report().ledger().setTotal(totalOf(m_session));
    enqueueSome();
    const bool started = m_host.start();
    *error = m_host.errorString();
    return started;
}

/**
 * Keeps the host supplied. It is given a part of the session at a time, so that a long one
 * costs little memory and can be stopped quickly.
 */
void DeviceRun::enqueueSome()
{
    while (m_nextCommand < m_session.commands.size() && m_host.pending() < commandsGivenAhead) {
        const DeviceCommand &command = m_session.commands.at(m_nextCommand);
        const host::Ticket ticket = m_host.enqueue(command.record);
        report().ledger().add(ticket, command.name, repetition(m_nextNumber, command.repeat), command.expected);
        if (++m_nextNumber > command.repeat) {
            m_nextNumber = 1;
            ++m_nextCommand;
        }
    }
}

void DeviceRun::countNeverGiven()
{
    for (; m_nextCommand < m_session.commands.size(); ++m_nextCommand) {
        const DeviceCommand &command = m_session.commands.at(m_nextCommand);
        report().ledger().addNeverGiven(command.name, command.repeat - m_nextNumber + 1);
        m_nextNumber = 1;
    }
}

QString DeviceRun::progress() const
{
    const CommandLedger &ledger = report().ledger();
    return QStringLiteral("... %1 of %2 ended, %3 waiting, %4 awaiting a reply")
        .arg(ledger.total() - ledger.pending())
        .arg(ledger.total())
        .arg(ledger.total() - ledger.given() + m_host.waiting())
        .arg(m_host.pending() - m_host.waiting());
}

/** The codes of a command and its name, unless that begins with them. */
QString DeviceRun::label(host::Ticket ticket, const QString &codes) const
{
    const LedgerEntry *entry = report().ledger().find(ticket);
    if (entry == nullptr) {
        return codes;
    }
    return entry->name.startsWith(codes) ? entry->name : QStringLiteral("%1 %2").arg(codes, entry->name);
}

void DeviceRun::onSent(host::Ticket ticket, int attempt, const model_Protocoldata &command)
{
    const Event event = attempt == 1 ? Event::Sent : Event::Resent;
    report().noteSent();
    report().ledger().note(ticket, event);
    m_sent.insert(ticket, command);
    m_lastSent = ticket;
    report().printer().event({QDateTime::currentDateTime(),
                              command.ucHead[0],
                              label(ticket, host::commandText(command)),
                              eventName(event),
                              -1.0,
                              {}});
}

void DeviceRun::onEnded(host::Ticket ticket, const host::CommandResult &result)
{
    report().ledger().end(ticket, result.outcome, result.reason);
    report().noteEnded(result.roundTripMs);
    const bool wasSent = m_sent.contains(ticket);
    // Those that a stop kept from being sent are accounted for in the closing list.
    if (wasSent || result.outcome != host::Outcome::Stopped) {
        const model_Protocoldata command = m_sent.take(ticket);
        const bool answered = result.outcome == host::Outcome::Answered;
        report().printer().event({QDateTime::currentDateTime(), wasSent ? command.ucHead[0] : -1,
                                  label(ticket, wasSent ? host::commandText(command) : QString()),
                                  host::outcomeName(result.outcome), result.roundTripMs,
                                  answered ? QString() : result.reason});
    }
    if (result.outcome != host::Outcome::Stopped) {
        enqueueSome();
    }
    finishIfDone();
}

void DeviceRun::onReply(host::Ticket ticket, Event event, const model_Protocoldata &reply, const QString &detail)
{
    report().ledger().note(ticket, event, event == Event::Rejected ? detail : QString());
    report().printer().event({QDateTime::currentDateTime(), reply.ucHead[0], label(ticket, host::commandText(reply)),
                              eventName(event), -1.0, detail});
    finishIfDone();
}

/** It belongs to no command; the one sent last is the one that its device should have answered. */
void DeviceRun::onForeign(const model_Protocoldata &reply)
{
    report().ledger().note(m_lastSent, Event::Foreign);
    report().printer().event({QDateTime::currentDateTime(), reply.ucHead[0], host::commandText(reply),
                              eventName(Event::Foreign), -1.0, QStringLiteral("to none of the last 256 commands")});
    finishIfDone();
}

} // namespace biz::console
