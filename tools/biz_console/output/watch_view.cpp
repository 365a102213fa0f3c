#include <biz_console/output/watch_view.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include <QtCore/QLocale>

#include <biz_console/output/event_printer.h>
#include <biz_console/summary/closing_lines.h>
#include <common/shown_text.h>
#include <common/units.h>

namespace biz::console {

namespace {

constexpr int eventsKept = 10;

/** "link        lost since 14:03:22: tcp://... was closed: ..." */
QString linkLine(const host::LinkStatus &link)
{
    const QString since = QLocale::c().toString(link.since.toLocalTime(), QStringLiteral("hh:mm:ss"));
    const QString state = QStringLiteral("link        %1 since %2").arg(host::linkStateName(link.state), since);
    return link.reason.isEmpty() ? state : state + QStringLiteral(": ") + link.reason;
}

QString commandsLine(const host::Counters &counters)
{
    return QStringLiteral("commands    sent %1  resent %2  answered %3  given up %4")
        .arg(counters.sent)
        .arg(counters.resent)
        .arg(counters.answered)
        .arg(counters.gaveUp);
}

QString repliesLine(const host::Counters &counters)
{
    return QStringLiteral("replies     rejected %1  late %2  duplicate %3  foreign %4")
        .arg(counters.rejected)
        .arg(counters.late)
        .arg(counters.duplicate)
        .arg(counters.foreign);
}

QString roundTripLine(const host::Counters &counters)
{
    return QStringLiteral("round trip  median %1  99 % within %2  maximum %3")
        .arg(tools::millisecondsText(counters.roundTripMedianMs), tools::millisecondsText(counters.roundTripP99Ms),
             tools::millisecondsText(counters.roundTripMaxMs));
}

} // namespace

TerminalSize standardOutputSize()
{
    TerminalSize size;
    winsize told{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &told) == 0 && told.ws_col > 0 && told.ws_row > 0) {
        size.columns = told.ws_col;
        size.rows = told.ws_row;
    }
    return size;
}

WatchView::WatchView(QTextStream &out, TerminalSize (*size)(), bool allDevices)
    : m_out(out)
    , m_size(size)
    , m_allDevices(allDevices)
{
}

void WatchView::started(const RunStart &run)
{
    m_target = run.target;
}

void WatchView::happened(const host::Event &event)
{
    // What goes to the error stream must not stand in the middle of the view.
    if (event.kind == host::EventKind::Problem) {
        erase();
        return;
    }
    if (event.link) {
        m_link = linkLine(*event.link);
    }
    const QString line = eventLine(event);
    if (!line.isEmpty()) {
        m_events.append(line);
    }
    if (m_events.size() > eventsKept) {
        m_events.removeFirst();
    }
}

/** The newest events, as many as the terminal has room for below the rest and above the cursor. */
QStringList WatchView::view(const RunProgress &progress, const TerminalSize &size) const
{
    QStringList lines{m_target};
    if (!m_link.isEmpty()) {
        lines << m_link;
    }
    lines += QStringList{progressText(progress), commandsLine(progress.counters), repliesLine(progress.counters),
                         roundTripLine(progress.counters)};
    const int room = qBound(0, size.rows - static_cast<int>(lines.size()) - 1, static_cast<int>(m_events.size()));
    lines += m_events.mid(m_events.size() - room);
    for (QString &line : lines) {
        line = tools::shownText(line);
        line.truncate(size.columns - 1);
    }
    return lines;
}

void WatchView::progressed(const RunProgress &progress)
{
    const QStringList lines = view(progress, m_size());
    erase();
    for (const QString &line : lines) {
        m_out << line << '\n';
    }
    m_out.flush();
    m_shownLines = static_cast<int>(lines.size());
}

/** Goes up to the first line of the view and clears the terminal from there on. */
void WatchView::erase()
{
    if (m_shownLines > 0) {
        m_out << "\033[" << m_shownLines << "A\r\033[J";
        m_out.flush();
    }
    m_shownLines = 0;
}

void WatchView::ended(const RunEnd &end)
{
    erase();
    for (const QString &line : closingLines(end, m_allDevices)) {
        m_out << tools::shownText(line) << '\n';
    }
    m_out.flush();
}

} // namespace biz::console
