#include <biz_console/output/event_printer.h>

#include <QtCore/QLocale>

#include <biz_console/output/closing_lines.h>
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

QString sequenceText(int sequence)
{
    return sequence < 0 ? QStringLiteral("-") : QStringLiteral("%1").arg(sequence, 2, hexadecimal, QLatin1Char('0'));
}

/** A device command by its codes and its name, unless that begins with them; an OSD command by name and device. */
QString commandOf(const RunEvent &event)
{
    if (event.name.isEmpty()) {
        return event.device.isEmpty() ? event.codes : event.device;
    }
    if (!event.device.isEmpty()) {
        return QStringLiteral("%1 (%2)").arg(event.name, event.which);
    }
    return event.name.startsWith(event.codes) ? event.name : QStringLiteral("%1 %2").arg(event.codes, event.name);
}

QString timeOf(const RunEvent &event)
{
    return QLocale::c().toString(event.utc.toLocalTime(), QStringLiteral("hh:mm:ss.zzz"));
}

QString lineOf(const RunEvent &event)
{
    const QString roundTrip = event.roundTripMs < 0 ? QString() : tools::millisecondsText(event.roundTripMs);
    const bool isAnswer = event.kind == RunEvent::Kind::Ended && event.outcome == host::Outcome::Answered;
    return columns(timeOf(event), sequenceText(event.sequence), commandOf(event), event.kindName(), roundTrip,
                   isAnswer ? QString() : event.reason);
}

/** Its command was stopped before anything was sent; the closing list accounts for it. */
bool wasNeverSent(const RunEvent &event)
{
    return event.kind == RunEvent::Kind::Ended && event.attempts == 0 && event.outcome == host::Outcome::Stopped;
}

/** "14:03:22.517  link lost: ..." of outages only: what else becomes of a link goes without saying. */
QString linkLineOf(const RunEvent &event)
{
    return event.reason.isEmpty() ? QString()
                                  : QStringLiteral("%1  link %2: %3")
                                        .arg(timeOf(event), host::linkStateName(event.link.state), event.reason);
}

QString refusalOf(const RunEvent &event)
{
    return event.device.isEmpty()
               ? QStringLiteral("%1 refused: %2").arg(counted(event.bytes, "received byte"), event.reason)
               : QStringLiteral("%1 from %2 refused: %3").arg(counted(event.bytes, "byte"), event.device, event.reason);
}

constexpr char red[] = "\033[31m";
constexpr char yellow[] = "\033[33m";
constexpr char plain[] = "\033[0m";

/** Ends without an answer stand out, and less so what came on the way; nothing for the usual. */
const char *colourOf(const RunEvent &event)
{
    switch (event.kind) {
    case RunEvent::Kind::Ended:
        return event.outcome == host::Outcome::Answered ? "" : red;
    case RunEvent::Kind::Happened:
        return event.event == Event::Sent ? "" : yellow;
    case RunEvent::Kind::Refused:
    case RunEvent::Kind::Failed:
    case RunEvent::Kind::LinkStateChanged:
        return yellow;
    case RunEvent::Kind::Opened:
    case RunEvent::Kind::Given:
    case RunEvent::Kind::Problem:
        break;
    }
    return "";
}

} // namespace

QString eventLine(const RunEvent &event)
{
    switch (event.kind) {
    case RunEvent::Kind::Refused:
        return refusalOf(event);
    case RunEvent::Kind::Failed:
        return QStringLiteral("socket: ") + event.reason;
    case RunEvent::Kind::LinkStateChanged:
        return linkLineOf(event);
    case RunEvent::Kind::Happened:
    case RunEvent::Kind::Ended:
        return wasNeverSent(event) ? QString() : lineOf(event);
    case RunEvent::Kind::Opened:
    case RunEvent::Kind::Given:
    case RunEvent::Kind::Problem:
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

void EventPrinter::happened(const RunEvent &event)
{
    const bool isTrouble = event.kind == RunEvent::Kind::Refused || event.kind == RunEvent::Kind::Failed;
    const QString text = isTrouble || m_options.events ? eventLine(event) : QString();
    if (event.kind == RunEvent::Kind::Problem) {
        line({}); // a gap: the problem itself goes to the error stream
    } else if (!text.isEmpty()) {
        line(text, colourOf(event));
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
