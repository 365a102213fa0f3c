#ifndef BIZ_CONSOLE_WATCH_VIEW_H
#define BIZ_CONSOLE_WATCH_VIEW_H

#include <QtCore/QStringList>
#include <QtCore/QTextStream>

#include <biz_console/summary/text_output.h>
#include <biz_console/verdict/event_sink.h>

namespace biz::console {

/** How large a terminal is. */
struct TerminalSize
{
    int columns = 80;
    int rows = 24;
};

/** The size of the terminal that is the standard output; 80 by 24 when nobody tells. */
TerminalSize standardOutputSize();

/**
 * Shows a run in a few lines of a terminal that are drawn anew in place. Between two drawings
 * the cursor stands below them and nothing of the terminal is changed, so that a process that
 * is killed leaves nothing to be restored. The closing lines take the place of the view.
 */
class WatchView : public EventSink
{
public:
    WatchView(QTextStream &out, TerminalSize (*size)(), bool allDevices);

    void started(const RunStart &run) override;
    void happened(const host::Event &event) override;
    void progressed(const RunProgress &progress) override;
    void ended(const RunEnd &end) override;
    bool hasFailed() const override { return console::hasFailed(m_out); }

private:
    QStringList view(const RunProgress &progress, const TerminalSize &size) const;
    void erase();

    QTextStream &m_out;
    TerminalSize (*m_size)();
    bool m_allDevices;
    QString m_target;
    QString m_link;       ///< its state and why; empty on the OSD channel, which has none
    QStringList m_events; ///< the last ones, the newest at the end
    int m_shownLines = 0;
};

} // namespace biz::console

#endif
