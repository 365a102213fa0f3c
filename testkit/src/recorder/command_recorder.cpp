#include <testkit/command_recorder.h>

#include <algorithm>

#include <testkit/simulated_device.h>
#include <testkit/simulated_osd_devices.h>

namespace biz::testkit {

namespace {

QString textOf(const QVector<host::Ticket> &tickets)
{
    QStringList texts;
    for (const host::Ticket ticket : tickets) {
        texts << QString::number(ticket);
    }
    return texts.join(QStringLiteral(", "));
}

/** "expected ..., found ..." unless the two are the same. */
Finding compare(const QString &what, const QString &expected, const QString &found)
{
    if (expected == found) {
        return {};
    }
    return {false, QStringLiteral("%1: expected %2, found %3")
                       .arg(what, expected.isEmpty() ? QStringLiteral("none") : expected,
                            found.isEmpty() ? QStringLiteral("none") : found)};
}

QString codeOf(const model_Protocoldata &command)
{
    const QByteArray code(reinterpret_cast<const char *>(command.ucHead + 1), 2);
    return QString::fromLatin1(code.toHex('/').toUpper());
}

} // namespace

CommandRecorder::CommandRecorder(const host::DeviceHost &host)
{
    connect(&host, &host::DeviceHost::sent, this, [this](host::Ticket ticket) { noteSent(ticket); });
    connect(&host, &host::DeviceHost::ended, this, [this](host::Ticket ticket, const host::CommandResult &result) {
        noteEnd({ticket, result.outcome, result.attempts, result.reason});
    });
}

CommandRecorder::CommandRecorder(const host::OsdHost &host)
{
    connect(&host, &host::OsdHost::sent, this, [this](host::Ticket ticket) { noteSent(ticket); });
    connect(&host, &host::OsdHost::ended, this, [this](host::Ticket ticket, const host::OsdCommandResult &result) {
        noteEnd({ticket, result.outcome, result.attempts, result.reason});
    });
}

void CommandRecorder::noteSent(host::Ticket ticket)
{
    m_written.append(ticket);
    if (hasEnded(ticket)) {
        m_broken << QStringLiteral("command %1 was written after its end").arg(ticket);
    }
}

void CommandRecorder::noteEnd(const End &end)
{
    if (hasEnded(end.ticket)) {
        m_broken << QStringLiteral("command %1 ended twice").arg(end.ticket);
    }
    m_endOf.insert(end.ticket, static_cast<int>(m_ends.size()));
    m_ends.append(end);
}

int CommandRecorder::count(host::Outcome outcome) const
{
    return static_cast<int>(
        std::count_if(m_ends.begin(), m_ends.end(), [outcome](const End &end) { return end.outcome == outcome; }));
}

Finding CommandRecorder::endedAs(host::Ticket ticket, host::Outcome outcome) const
{
    const QString what = QStringLiteral("command %1").arg(ticket);
    const QString expected = host::outcomeName(outcome);
    if (!hasEnded(ticket)) {
        return compare(what, expected, QStringLiteral("no end so far"));
    }
    const End &end = m_ends.at(m_endOf.value(ticket));
    Finding finding = compare(what, expected, host::outcomeName(end.outcome));
    if (!finding.holds) {
        finding.text += QStringLiteral(" - ") + end.reason;
    }
    return finding;
}

Finding CommandRecorder::endedInOrder(const QVector<host::Ticket> &tickets) const
{
    QVector<host::Ticket> ended;
    for (const End &end : m_ends) {
        ended.append(end.ticket);
    }
    return compare(QStringLiteral("commands that ended"), textOf(tickets), textOf(ended));
}

Finding CommandRecorder::wroteInOrder(const QVector<host::Ticket> &tickets) const
{
    return compare(QStringLiteral("commands that were written"), textOf(tickets), textOf(m_written));
}

Finding CommandRecorder::keptPromises() const
{
    return {m_broken.isEmpty(), m_broken.join(QStringLiteral("; "))};
}

Finding heard(const SimulatedDevice &device, const QStringList &codes)
{
    QStringList found;
    for (const model_Protocoldata &command : device.commands()) {
        found << codeOf(command);
    }
    return compare(QStringLiteral("what the device heard"), codes.join(QStringLiteral(", ")),
                   found.join(QStringLiteral(", ")));
}

Finding heard(const SimulatedOsdDevices &devices, const QStringList &addresses)
{
    QStringList found;
    for (const ReceivedOsdCommand &command : devices.commands()) {
        found << command.device;
    }
    return compare(QStringLiteral("the devices that heard"), addresses.join(QStringLiteral(", ")),
                   found.join(QStringLiteral(", ")));
}

} // namespace biz::testkit
