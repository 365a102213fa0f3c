#ifndef BIZ_CONSOLE_EVENT_PRINTER_H
#define BIZ_CONSOLE_EVENT_PRINTER_H

#include <optional>

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>
#include <QtCore/QTextStream>

#include <biz_console/summary/text_output.h>
#include <biz_console/verdict/event_sink.h>

namespace biz::console {

/** The line of an event as people read it; empty for one that is not worth a line. */
QString eventLine(const host::Event &event);

/**
 * Writes event lines for people, and below them a progress line that a terminal shows in
 * place. Where the output is no terminal, a progress line is a line like any other. Refused
 * bytes of one kind in a row, as noise on a line makes them, have one line and their number.
 */
class EventPrinter : public EventSink
{
public:
    struct Options
    {
        bool events = true;
        bool progress = true;
        bool allDevices = false; ///< every OSD device has a row of its own
    };

    EventPrinter(QTextStream &out, bool isTerminal, const Options &options);

    void started(const RunStart &run) override;
    void happened(const host::Event &event) override;
    void progressed(const RunProgress &progress) override;
    void ended(const RunEnd &end) override;
    bool hasFailed() const override { return console::hasFailed(m_out); }

private:
    bool repeatsRefusal(const host::Event &event) const;
    void tellRepeats();
    void line(const QString &text, const char *colour = "");
    void write(const QString &text, const char *colour = "");
    void eraseProgress();
    bool isProgressDue();

    QTextStream &m_out;
    bool m_isTerminal;
    bool m_hasColours; ///< on a terminal, unless NO_COLOR asks for none
    Options m_options;
    bool m_progressShown = false;
    QElapsedTimer m_sinceProgress;
    std::optional<host::Event> m_refusal; ///< the last line, where it told of one
    qint64 m_refusalRepeats = 0;          ///< equal ones that came since
};

} // namespace biz::console

#endif
