#include <biz_console/event_printer.h>

#include <QtCore/QLocale>

namespace biz::console {

namespace {

constexpr int timeWidth = 12;
constexpr int sequenceWidth = 3;
constexpr int commandWidth = 34;
constexpr int eventWidth = 9;
constexpr int roundTripWidth = 10;
constexpr int hexadecimal = 16;

QString columns(const QString &time, const QString &sequence, const QString &command, const QString &event,
                const QString &roundTrip, const QString &detail)
{
    const QString line = QStringLiteral("%1  %2  %3  %4  %5  %6")
                             .arg(time.leftJustified(timeWidth), sequence.leftJustified(sequenceWidth),
                                  command.leftJustified(commandWidth), event.leftJustified(eventWidth),
                                  roundTrip.rightJustified(roundTripWidth), detail);
    int size = line.size();
    while (size > 0 && line.at(size - 1) == QLatin1Char(' ')) {
        --size;
    }
    return line.left(size);
}

QString sequenceText(int sequence)
{
    return sequence < 0 ? QStringLiteral("-") : QStringLiteral("%1").arg(sequence, 2, hexadecimal, QLatin1Char('0'));
}

} // namespace

QString millisecondsText(double milliseconds)
{
    return milliseconds < 0 ? QStringLiteral("-") : QString::number(milliseconds, 'f', 1) + QStringLiteral(" ms");
}

EventPrinter::EventPrinter(QTextStream &out, bool isTerminal)
    : m_out(out)
    , m_isTerminal(isTerminal)
{
}

void EventPrinter::header()
{
    if (m_isQuiet) {
        return;
    }
    line(columns(QStringLiteral("time"), QStringLiteral("seq"), QStringLiteral("command"), QStringLiteral("event"),
                 QStringLiteral("round trip"), {}));
}

void EventPrinter::event(const EventLine &event)
{
    if (m_isQuiet) {
        return;
    }
    const QString time = QLocale::c().toString(event.time, QStringLiteral("hh:mm:ss.zzz"));
    const QString roundTrip = event.roundTripMs < 0 ? QString() : millisecondsText(event.roundTripMs);
    line(columns(time, sequenceText(event.sequence), event.command, event.event, roundTrip, event.detail));
}

void EventPrinter::progress(const QString &text)
{
    if (m_isQuiet) {
        return;
    }
    if (!m_isTerminal) {
        line(text);
        return;
    }
    eraseProgress();
    m_out << text;
    m_out.flush();
    m_progressShown = true;
}

void EventPrinter::line(const QString &text)
{
    eraseProgress();
    m_out << text << '\n';
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
