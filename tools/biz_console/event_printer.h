#ifndef BIZ_CONSOLE_EVENT_PRINTER_H
#define BIZ_CONSOLE_EVENT_PRINTER_H

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QTextStream>

namespace biz::console {

/** One event of one command, as a line shows it. */
struct EventLine
{
    QDateTime time;
    int sequence = -1;         ///< negative: it has none yet
    QString command;           ///< "get volume F1/08"
    QString event;             ///< the name of an event or of an outcome
    double roundTripMs = -1.0; ///< negative: there is none
    QString detail;            ///< why, in words
};

/** "12.3 ms"; "-" for a negative time. */
QString millisecondsText(double milliseconds);

/**
 * Writes event lines, and below them a progress line that a terminal shows in place. Where
 * the output is no terminal, a progress line is a line like any other.
 */
class EventPrinter
{
public:
    EventPrinter(QTextStream &out, bool isTerminal);

    /** Leaves event lines, their header and progress lines out from now on. */
    void beQuiet() { m_isQuiet = true; }

    void header();
    void event(const EventLine &event);
    void progress(const QString &text);

    /** A line as it is; an empty one for a gap. */
    void line(const QString &text);

private:
    void eraseProgress();

    QTextStream &m_out;
    bool m_isTerminal;
    bool m_isQuiet = false;
    bool m_progressShown = false;
};

} // namespace biz::console

#endif
