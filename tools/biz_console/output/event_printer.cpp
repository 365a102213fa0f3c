#include <biz_console/output/event_printer.h>

#include <utility>

#include <QtCore/QLocale>

#include <biz_console/summary/closing_lines.h>
#include <common/shown_text.h>
#include <common/units.h>

namespace biz::console {

namespace {

constexpr int timeWidth = 12;
constexpr int sequenceWidth = 3;
constexpr int commandWidth = 34;
constexpr int eventWidth = 9;
constexpr int roundTripWidth = 10;
constexpr int hexadecimal = 16;

/** Where progress lines stay, more of them would bury the events. */
constexpr int plainProgressPeriodMs = 1000;

QString columns(const QString &time, const QString &sequence, const QString &command, const QString &event,
                const QString &roundTrip, const QString &detail)
{
    const QString line = QStringLiteral("%1  %2  %3  %4  %5  %6")
                             .arg(time.leftJustified(timeWidth), sequence.leftJustified(sequenceWidth),
                                  command.leftJustified(commandWidth), event.leftJustified(eventWidth),
                                  roundTrip.rightJustified(roundTripWidth), detail);
    auto size = line.size();
    while (size > 0 && line.at(size - 1) == QLatin1Char(' ')) {
        --size;
    }
    return line.left(size);
}

QString sequenceText(std::optional<int> sequence)
{
    return !sequence ? QStringLiteral("-") : QStringLiteral("%1").arg(*sequence, 2, hexadecimal, QLatin1Char('0'));
}

/** A device command by its codes and its name, unless that begins with them; an OSD command by name and device. */
QString commandOf(const host::Event &event)
{
    if (event.name.isEmpty()) {
        return event.device.isEmpty() ? event.codes : event.device;
    }
    if (!event.device.isEmpty()) {
        return QStringLiteral("%1 (%2)").arg(event.name, event.which);
    }
    return event.name.startsWith(event.codes) ? event.name : QStringLiteral("%1 %2").arg(event.codes, event.name);
}

QString timeOf(const host::Event &event)
{
    return QLocale::c().toString(QDateTime::fromMSecsSinceEpoch(event.utcMs), QStringLiteral("hh:mm:ss.zzz"));
}

/** Why, in words; that an answer came needs none. */
QString detailOf(const host::Event &event)
{
    if (event.kind == host::EventKind::Answered) {
        return {};
    }
    if (event.kind == host::EventKind::Late) {
        return tools::millisecondsText(event.afterEndMs.value_or(0.0)) + QStringLiteral(" after its end");
    }
    if (event.kind == host::EventKind::Duplicate) {
        return QStringLiteral("it had been answered");
    }
    if (event.kind == host::EventKind::Foreign) {
        return event.device.isEmpty() ? QStringLiteral("to none of the last 256 commands")
                                      : QStringLiteral("it was never given a command");
    }
    return event.reason;
}

QString lineOf(const host::Event &event)
{
    const QString roundTrip = event.roundTripMs ? tools::millisecondsText(*event.roundTripMs) : QString();
    return columns(timeOf(event), sequenceText(event.sequence), commandOf(event), eventName(event.kind), roundTrip,
                   detailOf(event));
}

/** Its command was stopped before anything was sent; the closing list accounts for it. */
bool wasNeverSent(const host::Event &event)
{
    return event.kind == host::EventKind::Stopped && event.attempts == 0;
}

/** "14:03:22.517  link lost: ..." of outages only: what else becomes of a link goes without saying. */
QString linkLineOf(const host::Event &event)
{
    return event.reason.isEmpty() ? QString()
                                  : QStringLiteral("%1  link %2: %3")
                                        .arg(timeOf(event), host::linkStateName(event.link->state), event.reason);
}

QString refusalOf(const host::Event &event)
{
    return event.device.isEmpty()
               ? QStringLiteral("%1 refused: %2").arg(counted(event.bytes.value_or(0), "received byte"), event.reason)
               : QStringLiteral("%1 from %2 refused: %3")
                     .arg(counted(event.bytes.value_or(0), "byte"), event.device, event.reason);
}

constexpr char red[] = "\033[31m";
constexpr char yellow[] = "\033[33m";
constexpr char plain[] = "\033[0m";

/** Ends without an answer stand out, and less so what came on the way; nothing for the usual. */
const char *colourOf(host::EventKind kind)
{
    switch (kind) {
    case host::EventKind::GaveUp:
    case host::EventKind::Cleared:
    case host::EventKind::Skipped:
    case host::EventKind::Stopped:
    case host::EventKind::Released:
    case host::EventKind::Expired:
    case host::EventKind::Superseded:
    case host::EventKind::Cancelled:
    case host::EventKind::Unreachable:
    case host::EventKind::Interrupted:
        return red;
    case host::EventKind::Resent:
    case host::EventKind::Rejected:
    case host::EventKind::Late:
    case host::EventKind::Duplicate:
    case host::EventKind::Foreign:
    case host::EventKind::Refused:
    case host::EventKind::Failed:
    case host::EventKind::LinkStateChanged:
        return yellow;
    case host::EventKind::Sent:
    case host::EventKind::Answered:
    case host::EventKind::Start:
    case host::EventKind::State:
    case host::EventKind::Lost:
    case host::EventKind::Summary:
    case host::EventKind::Opened:
    case host::EventKind::Problem:
    case host::EventKind::Given:
    case host::EventKind::Writing:
    case host::EventKind::Error:
        break;
    }
    return "";
}

} // namespace

QString eventLine(const host::Event &event)
{
    switch (event.kind) {
    case host::EventKind::Refused:
        return refusalOf(event);
    case host::EventKind::Failed:
        return QStringLiteral("socket: ") + event.reason;
    case host::EventKind::LinkStateChanged:
        return linkLineOf(event);
    case host::EventKind::Sent:
    case host::EventKind::Resent:
    case host::EventKind::Rejected:
    case host::EventKind::Late:
    case host::EventKind::Duplicate:
    case host::EventKind::Foreign:
    case host::EventKind::Answered:
    case host::EventKind::GaveUp:
    case host::EventKind::Cleared:
    case host::EventKind::Skipped:
    case host::EventKind::Stopped:
    case host::EventKind::Released:
    case host::EventKind::Expired:
    case host::EventKind::Superseded:
    case host::EventKind::Cancelled:
    case host::EventKind::Unreachable:
    case host::EventKind::Interrupted:
        return wasNeverSent(event) ? QString() : lineOf(event);
    case host::EventKind::Start:
    case host::EventKind::State:
    case host::EventKind::Lost:
    case host::EventKind::Summary:
    case host::EventKind::Opened:
    case host::EventKind::Problem:
    case host::EventKind::Given:
    case host::EventKind::Writing:
    case host::EventKind::Error:
        break;
    }
    return {};
}

EventPrinter::EventPrinter(QTextStream &out, bool isTerminal, const Options &options)
    : m_out(out)
    , m_isTerminal(isTerminal)
    , m_hasColours(isTerminal && qEnvironmentVariableIsEmpty("NO_COLOR"))
    , m_options(options)
{
}

void EventPrinter::started(const RunStart & /*run*/)
{
    m_sinceProgress.start();
    if (m_options.events) {
        line(columns(QStringLiteral("time"), QStringLiteral("seq"), QStringLiteral("command"), QStringLiteral("event"),
                     QStringLiteral("round trip"), {}));
    }
}

void EventPrinter::happened(const host::Event &event)
{
    if (repeatsRefusal(event)) {
        ++m_refusalRepeats;
        return;
    }
    const bool isTrouble = event.kind == host::EventKind::Refused || event.kind == host::EventKind::Failed ||
                           event.kind == host::EventKind::LinkStateChanged;
    const QString text = isTrouble || m_options.events ? eventLine(event) : QString();
    if (event.kind == host::EventKind::Problem) {
        line({}); // a gap: the problem itself goes to the error stream
    } else if (!text.isEmpty()) {
        line(text, colourOf(event.kind));
    }
    if (event.kind == host::EventKind::Refused) {
        m_refusal = event;
    }
}

bool EventPrinter::repeatsRefusal(const host::Event &event) const
{
    return event.kind == host::EventKind::Refused && m_refusal && m_refusal->bytes == event.bytes &&
           m_refusal->device == event.device && m_refusal->reason == event.reason;
}

void EventPrinter::tellRepeats()
{
    m_refusal.reset();
    const qint64 repeats = std::exchange(m_refusalRepeats, 0);
    if (repeats > 0) {
        write(QStringLiteral("    and %1 more of the kind").arg(repeats));
    }
}

bool EventPrinter::isProgressDue()
{
    const bool isDue = m_isTerminal || !m_sinceProgress.isValid() || m_sinceProgress.hasExpired(plainProgressPeriodMs);
    if (isDue) {
        m_sinceProgress.start();
    }
    return isDue;
}

void EventPrinter::progressed(const RunProgress &progress)
{
    if (!m_options.progress || !isProgressDue()) {
        return;
    }
    const QString text = QStringLiteral("... ") + progressText(progress);
    if (!m_isTerminal) {
        line(text);
        return;
    }
    eraseProgress();
    m_out << text;
    m_out.flush();
    m_progressShown = true;
}

void EventPrinter::ended(const RunEnd &end)
{
    for (const QString &text : closingLines(end, m_options.allDevices)) {
        line(text);
    }
}

void EventPrinter::line(const QString &text, const char *colour)
{
    tellRepeats();
    write(text, colour);
}

void EventPrinter::write(const QString &text, const char *colour)
{
    eraseProgress();
    const bool isColoured = m_hasColours && *colour != '\0';
    m_out << (isColoured ? colour : "") << tools::shownText(text) << (isColoured ? plain : "") << '\n';
    m_out.flush();
}

void EventPrinter::eraseProgress()
{
    if (m_progressShown) {
        m_out << "\r\033[K";
        m_progressShown = false;
    }
}

} // namespace biz::console
