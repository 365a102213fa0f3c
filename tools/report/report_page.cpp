#include <report/report_page.h>

#include <algorithm>
#include <cmath>

#include <QtCore/QDateTime>

#include <history/words.h>
#include <report/charts.h>
#include <report/drawing/html.h>
#include <report/drawing/style.h>
#include <report/tables.h>
#include <report/timeline.h>

namespace biz::report {

namespace {

using history::Finding;
using history::History;

/** A stretch of a long run that has a section of its own. */
struct Section
{
    Stretch stretch;
    quint64 commands = 0;
    quint64 unanswered = 0;
};

/** What the sections' timelines hold together; it bounds the size of the page. */
constexpr int barsOfAllSections = 4000;
constexpr int dotsAcross = 210;
constexpr int dotsAcrossSection = 100;

const char *iconOf(Finding::Severity severity)
{
    switch (severity) {
    case Finding::Severity::Fault:
        return "✖";
    case Finding::Severity::Warning:
        return "▲";
    case Finding::Severity::Note:
        return "●";
    case Finding::Severity::Good:
        return "✔";
    }
    Q_UNREACHABLE();
}

/** The icon as somebody hears it who does not see it. */
const char *spokenOf(Finding::Severity severity)
{
    switch (severity) {
    case Finding::Severity::Fault:
        return "Fault";
    case Finding::Severity::Warning:
        return "Warning";
    case Finding::Severity::Note:
        return "Note";
    case Finding::Severity::Good:
        return "Good";
    }
    Q_UNREACHABLE();
}

const char *classOf(Finding::Severity severity)
{
    switch (severity) {
    case Finding::Severity::Fault:
        return "finding fault";
    case Finding::Severity::Warning:
        return "finding warning";
    case Finding::Severity::Note:
        return "finding note";
    case Finding::Severity::Good:
        return "finding good";
    }
    Q_UNREACHABLE();
}

QString findingMarkup(const Finding &finding)
{
    QString texts = wrapped("p", "sentence",
                            QStringLiteral("<span class=\"headline\">%1.</span> %2")
                                .arg(escaped(finding.headline), escaped(finding.sentence)));
    if (!finding.advice.isEmpty()) {
        texts += element("p", "advice", finding.advice);
    }
    const QString icon =
        QStringLiteral("<div class=\"icon\" role=\"img\" aria-label=\"%1\">%2</div>")
            .arg(QString::fromLatin1(spokenOf(finding.severity)), QString::fromUtf8(iconOf(finding.severity)));
    return wrapped("div", classOf(finding.severity), icon + wrapped("div", texts));
}

QString figure(const char *title, const QString &explanation, const Drawing &drawing)
{
    QString caption = QStringLiteral("<b>%1</b> %2").arg(QString::fromUtf8(title), escaped(explanation));
    for (const QString &note : drawing.notes) {
        caption += QLatin1Char(' ') + escaped(note);
    }
    return wrapped("figure", wrapped("figcaption", caption) + drawing.markup);
}

/** The stretches of a run that is too long, or too full, for one look; none otherwise. */
std::vector<Section> sectionsOf(const History &history)
{
    constexpr double mostSections = 24.0;
    constexpr double commandsOfSection = 2000.0;
    constexpr double longestMs = 2.0 * 60.0 * 60.0 * 1000.0;
    double commands = 0.0;
    for (const history::Device &device : history.devices) {
        commands += static_cast<double>(device.commands.size());
    }
    const double lengthMs = history.toMs - history.fromMs;
    const double wanted = std::min(std::max(commands / commandsOfSection, lengthMs / longestMs), mostSections);
    if (wanted <= 1.0) {
        return {};
    }
    const double stepMs = roundDuration(std::max(lengthMs / wanted, 1.0));
    std::vector<Section> sections;
    for (double fromMs = std::floor(history.fromMs / stepMs) * stepMs; fromMs <= history.toMs; fromMs += stepMs) {
        sections.push_back({{fromMs, fromMs + stepMs}, 0, 0});
    }
    for (const history::Device &device : history.devices) {
        for (const history::Command &command : device.commands) {
            const auto place =
                static_cast<std::size_t>(std::max(command.beginMs() - sections.front().stretch.fromMs, 0.0) / stepMs);
            Section &section = sections[std::min(place, sections.size() - 1)];
            ++section.commands;
            section.unanswered += command.hasEnded && !command.isAnswered() ? 1 : 0;
        }
    }
    return sections;
}

/** Writes one page; made for one call. */
class Page
{
public:
    Page(const History &history, const std::vector<Finding> &findings, const Maker &maker)
        : m_history(history)
        , m_findings(findings)
        , m_maker(maker)
        , m_sections(sectionsOf(history))
    {
    }

    QByteArray write()
    {
        writeHead();
        writeVerdict();
        writeOverview();
        writeTables();
        writeSections();
        writeEnvironment();
        m_html += QStringLiteral("</main>\n</body>\n</html>\n");
        return m_html.toUtf8();
    }

private:
    Scene whole() const;
    QString title() const;
    void writeHead();
    void writeVerdict();
    void writeOverview();
    void writeTable(const char *title, const QString &explanation, const QString &table);
    void writeTables();
    void writeSections();
    void writeSection(std::size_t place);
    QString nameOf(const Section &section) const;
    void writeEnvironment();

    const History &m_history;
    const std::vector<Finding> &m_findings;
    const Maker &m_maker;
    std::vector<Section> m_sections;
    QString m_html;
};

Scene Page::whole() const
{
    constexpr double margin = 0.01;
    const double marginMs = (m_history.toMs - m_history.fromMs) * margin;
    return {m_history, m_findings, {m_history.fromMs - marginMs, m_history.toMs + marginMs}};
}

QString Page::title() const
{
    if (m_history.devices.size() == 1) {
        return m_history.devices.front().title;
    }
    return QStringLiteral("%1 devices").arg(m_history.devices.size());
}

void Page::writeHead()
{
    m_html +=
        QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                       "style-src 'unsafe-inline'\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<meta name=\"color-scheme\" content=\"light dark\">\n<title>%1</title>\n<style>%2</style>\n"
                       "</head>\n<body>\n%3<main>\n")
            .arg(escaped(title()) + QStringLiteral(": what happened"), styleSheet(), patterns());
    m_html += element("h1", title());
    const QDateTime begin = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(m_history.fromMs));
    const int offsetMinutes = begin.offsetFromUtc() / 60;
    const QString zone =
        offsetMinutes == 0
            ? QStringLiteral("UTC")
            : QStringLiteral("UTC%1%2 min").arg(offsetMinutes > 0 ? QStringLiteral("+") : QString()).arg(offsetMinutes);
    m_html += element("p", "quiet",
                      QStringLiteral("%1 to %2 (%3), times in %4; %5 from %6.")
                          .arg(history::momentText(m_history.fromMs), history::momentText(m_history.toMs),
                               history::durationText(m_history.toMs - m_history.fromMs), zone,
                               history::countText(m_history.events, "event", "events"),
                               history::countText(m_history.sources.size(), "file", "files")));
}

void Page::writeVerdict()
{
    QString verdict;
    for (const Finding &finding : m_findings) {
        verdict += finding.sentence.isEmpty() ? QString() : findingMarkup(finding);
    }
    m_html += QStringLiteral("<section aria-label=\"Verdict\">\n") + verdict + QStringLiteral("</section>\n");
}

void Page::writeOverview()
{
    const Scene scene = whole();
    m_html += element("h2", QStringLiteral("Timeline"));
    const Drawing drawn = timeline(scene, {});
    m_html += legend(m_history, drawn.showsWaiting) + figure("", QString(), drawn);
    // What was refused is worth more than any chart.
    writeTable("Refused replies",
               QStringLiteral("By rule. The marked bytes are those that the rule objects to. Byte 0 of the head is the "
                              "sequence number, bytes 1 and 2 are the command, bytes 4 and 5 the declared length, low "
                              "byte first."),
               refusalTable(m_history));
    QString charts = figure("Round trips.", QStringLiteral("How long replies took, by when their command was sent."),
                            roundTripsOverTime(scene, dotsAcross));
    charts += figure("Distribution.", QStringLiteral("How many replies took how long; outlined: too late."),
                     roundTripDistribution(scene));
    charts += figure("Waiting commands.", QStringLiteral("How many waited to be sent."), waitingCommands(scene));
    charts += figure("Rate.", QStringLiteral("Commands that ended each second; hatched: not answered."),
                     rateOfCommands(scene));
    m_html += wrapped("div", "charts", charts);
}

void Page::writeTable(const char *title, const QString &explanation, const QString &table)
{
    if (!table.isEmpty()) {
        m_html += element("h2", QString::fromUtf8(title)) + element("p", "quiet", explanation) + table;
    }
}

void Page::writeTables()
{
    writeTable(
        "Waits",
        QStringLiteral("Whether the commands’ wait (iWaitTime) leaves the device its time. A command to one device is "
                       "sent again after two thirds of its wait; an OSD wait counts whole seconds, the first of "
                       "which may be short."),
        waitTable(m_history));
    writeTable("Devices", QStringLiteral("What became of the commands of each."), deviceTable(m_history));
}

QString Page::nameOf(const Section &section) const
{
    return QStringLiteral("%1 to %2")
        .arg(history::momentText(section.stretch.fromMs).left(19), history::clockText(section.stretch.toMs));
}

void Page::writeSections()
{
    if (m_sections.empty()) {
        return;
    }
    m_html += element("h2", QStringLiteral("Stretch by stretch"));
    QString entries;
    for (std::size_t place = 0; place < m_sections.size(); ++place) {
        const Section &section = m_sections[place];
        entries +=
            QStringLiteral("<li><a href=\"#stretch-%1\">%2</a>: %3%4</li>\n")
                .arg(QString::number(place + 1), nameOf(section),
                     history::countText(section.commands, "command", "commands"),
                     section.unanswered == 0
                         ? QString()
                         : QStringLiteral(", <b>%1 not answered</b>").arg(history::countText(section.unanswered)));
    }
    m_html += QStringLiteral("<nav aria-label=\"Stretches of time\">\n") + wrapped("ol", entries) +
              QStringLiteral("</nav>\n");
    for (std::size_t place = 0; place < m_sections.size(); ++place) {
        writeSection(place);
    }
}

void Page::writeSection(std::size_t place)
{
    constexpr int rows = 12;
    const Section &section = m_sections[place];
    m_html += QStringLiteral("<h3 id=\"stretch-%1\">%2</h3>\n").arg(QString::number(place + 1), nameOf(section));
    if (section.commands == 0) {
        m_html += element("p", "quiet", QStringLiteral("No command was given."));
        return;
    }
    const Scene scene{m_history, m_findings, section.stretch};
    const int bars = std::max(barsOfAllSections / static_cast<int>(m_sections.size()), rows);
    m_html += figure("", QString(), timeline(scene, {rows, bars}));
    m_html += wrapped("div", "charts",
                      figure("Round trips.", QString(), roundTripsOverTime(scene, dotsAcrossSection)) +
                          figure("Waiting commands.", QString(), waitingCommands(scene)));
}

void Page::writeEnvironment()
{
    writeTable("Runs", QStringLiteral("Where they were made, and by which versions."), runTable(m_history));
    writeTable("Files", QStringLiteral("What this page was made of."), sourceTable(m_history));
    m_html += element("p", "quiet",
                      QStringLiteral("Made by %1 at %2. This page holds all that it shows and asks no network for "
                                     "anything.")
                          .arg(m_maker.tool, history::momentText(m_maker.atMs)));
}

} // namespace

QByteArray reportPage(const History &history, const std::vector<Finding> &findings, const Maker &maker)
{
    return Page(history, findings, maker).write();
}

} // namespace biz::report
