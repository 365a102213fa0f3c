#include <report/timeline.h>

#include <algorithm>
#include <set>

#include <history/words.h>
#include <report/drawing/html.h>
#include <report/drawing/lanes.h>
#include <report/drawing/svg.h>

namespace biz::report {

namespace {

using history::Device;
using history::Finding;
using history::Incident;

constexpr double width = 1000.0;
constexpr double plotLeft = 178.0;
constexpr double plotRight = 990.0;
constexpr double axisHeight = 22.0;
constexpr double bracketHeight = 17.0;
constexpr double marksHeight = 13.0;
constexpr double rowGap = 8.0;
constexpr double narrowest = 1.4;
constexpr int mostLanes = 12;
constexpr int labelLength = 27;

/** A device in the drawing. */
struct Row
{
    int device = 0;
    Lanes lanes;
    std::vector<const Finding *> spans; ///< findings with a time in this stretch
    const Finding *gravest = nullptr;
    bool hasResends = false;
    bool hasIncidents = false;
    double top = 0.0;
    double laneHeight = 0.0;

    double barsTop() const { return top + (spans.empty() ? 2.0 : bracketHeight); }
    double barsBottom() const { return barsTop() + lanes.count * laneHeight; }
    double incidentsTop() const { return barsBottom() + (hasResends ? marksHeight : 0.0); }
    double bottom() const
    {
        return hasResends || hasIncidents ? incidentsTop() + (hasIncidents ? marksHeight : 0.0) : barsBottom() + 2.0;
    }
};

Mark markOf(Incident::Kind kind)
{
    switch (kind) {
    case Incident::Kind::Rejected:
        return Mark::Cross;
    case Incident::Kind::Late:
        return Mark::Diamond;
    case Incident::Kind::Duplicate:
        return Mark::Square;
    case Incident::Kind::Foreign:
        return Mark::Plus;
    }
    Q_UNREACHABLE();
}

bool isSpan(const Finding &finding)
{
    return (finding.kind == Finding::Kind::Silence || finding.kind == Finding::Kind::LinkLost) && finding.fromMs >= 0.0;
}

/** Draws one timeline; made for one call. */
class Timeline
{
public:
    Timeline(const Scene &scene, const TimelineLimits &limits)
        : m_scene(scene)
        , m_limits(limits)
        , m_time(scene.stretch, plotLeft, plotRight)
    {
    }

    Drawing draw()
    {
        chooseRows();
        layOut();
        Svg svg(width, m_height, QStringLiteral("Timeline"), description());
        drawGrid(svg);
        for (const Row &row : m_rows) {
            drawRow(svg, row);
        }
        const bool showsWaiting =
            std::any_of(m_rows.begin(), m_rows.end(), [](const Row &row) { return row.lanes.showsWaiting; });
        return {svg.markup(), m_notes, showsWaiting};
    }

private:
    const Device &deviceOf(const Row &row) const
    {
        return m_scene.history.devices[static_cast<std::size_t>(row.device)];
    }

    void chooseRows();
    Row rowOf(int device, int lanes, int bars) const;
    void layOut();
    void note();
    QString description() const;
    void drawGrid(Svg &svg) const;
    void drawRow(Svg &svg, const Row &row) const;
    void drawLabel(Svg &svg, const Row &row) const;
    void drawBar(Svg &svg, const Row &row, const Bar &bar) const;
    void drawSpan(Svg &svg, const Row &row, const Finding &finding) const;
    void drawMarks(Svg &svg, const Row &row) const;
    QString titleOf(const Bar &bar) const;

    Scene m_scene;
    TimelineLimits m_limits;
    TimeScale m_time;
    std::vector<Row> m_rows;
    QStringList m_notes;
    double m_height = 0.0;
};

/** Whether anything of the device falls into the stretch. */
bool isActive(const Device &device, const Stretch &stretch)
{
    const auto has = [&stretch](const history::Command &command) {
        return stretch.touches(command.beginMs(), command.endMs >= 0.0 ? command.endMs : stretch.toMs);
    };
    return std::any_of(device.commands.begin(), device.commands.end(), has) ||
           std::any_of(device.incidents.begin(), device.incidents.end(),
                       [&stretch](const Incident &incident) { return stretch.contains(incident.atMs); });
}

// Devices with the gravest findings stand first, else in the order of the log.
void Timeline::chooseRows()
{
    const auto count = static_cast<int>(m_scene.history.devices.size());
    std::vector<int> devices;
    std::vector<bool> isChosen(m_scene.history.devices.size());
    const auto choose = [&](int device) {
        const auto place = static_cast<std::size_t>(device);
        if (!isChosen[place]) {
            isChosen[place] = true;
            devices.push_back(device);
        }
    };
    for (const Finding &finding : m_scene.findings) {
        if (finding.device >= 0 && finding.severity <= Finding::Severity::Warning) {
            choose(finding.device);
        }
    }
    for (int device = 0; device < count; ++device) {
        choose(device);
    }
    devices.erase(std::remove_if(devices.begin(), devices.end(),
                                 [this](int device) {
                                     return !isActive(m_scene.history.devices[static_cast<std::size_t>(device)],
                                                      m_scene.stretch);
                                 }),
                  devices.end());
    if (static_cast<int>(devices.size()) > m_limits.rows) {
        m_notes << QStringLiteral("%1 of %2 devices are drawn, those with faults first; “Devices” lists all.")
                       .arg(QString::number(m_limits.rows), QString::number(devices.size()));
        devices.resize(static_cast<std::size_t>(m_limits.rows));
    }
    const int rows = std::max<int>(static_cast<int>(devices.size()), 1);
    const int lanes = std::max(1, mostLanes / rows);
    for (const int device : devices) {
        m_rows.push_back(rowOf(device, lanes, std::max(m_limits.bars / rows, 20)));
    }
    note();
}

Row Timeline::rowOf(int device, int lanes, int bars) const
{
    Row row;
    row.device = device;
    row.lanes = lanesOf(deviceOf(row), m_scene.stretch, {lanes, bars});
    for (const Finding &finding : m_scene.findings) {
        if (finding.device != device) {
            continue;
        }
        row.gravest = row.gravest == nullptr ? &finding : row.gravest;
        if (isSpan(finding) && m_scene.stretch.touches(finding.fromMs, finding.toMs)) {
            row.spans.push_back(&finding);
        }
    }
    const std::vector<Incident> &incidents = deviceOf(row).incidents;
    row.hasIncidents = std::any_of(incidents.begin(), incidents.end(), [this](const Incident &incident) {
        return m_scene.stretch.contains(incident.atMs);
    });
    const std::vector<double> &clears = deviceOf(row).clears;
    row.hasIncidents = row.hasIncidents || std::any_of(clears.begin(), clears.end(), [this](double clearMs) {
                           return m_scene.stretch.contains(clearMs);
                       });
    row.hasResends = std::any_of(row.lanes.bars.begin(), row.lanes.bars.end(),
                                 [](const Bar &bar) { return bar.command->resentMs >= 0.0; });
    return row;
}

void Timeline::note()
{
    quint64 commands = 0;
    quint64 bars = 0;
    bool hidesWaiting = false;
    for (const Row &row : m_rows) {
        if (row.lanes.isThinned) {
            commands += row.lanes.commands;
            bars += row.lanes.bars.size();
        }
        hidesWaiting = hidesWaiting || !row.lanes.showsWaiting;
    }
    if (bars > 0) {
        m_notes << QStringLiteral("Thinned: %1 are drawn as %2; neighbours with the same outcome share one.")
                       .arg(history::countText(commands, "command", "commands"),
                            history::countText(bars, "bar", "bars"));
    }
    if (hidesWaiting) {
        m_notes << QStringLiteral("Bars begin when a command was sent, since too many waited side by side; "
                                  "“Waiting commands” shows how many.");
    }
}

void Timeline::layOut()
{
    double top = axisHeight;
    const bool isAlone = m_rows.size() == 1;
    for (Row &row : m_rows) {
        const double single = isAlone ? 30.0 : 17.0;
        const double shared = isAlone ? 15.0 : 9.0;
        row.laneHeight = row.lanes.count == 1 ? single : shared;
        row.top = top;
        top = row.bottom() + rowGap;
    }
    m_height = top;
}

QString Timeline::description() const
{
    QStringList parts;
    for (const Row &row : m_rows) {
        const Device &device = deviceOf(row);
        parts << QStringLiteral("%1: %2%3")
                     .arg(device.title, history::countText(row.lanes.commands, "command", "commands"),
                          row.gravest == nullptr ? QString() : QStringLiteral(", ") + row.gravest->headline);
    }
    return QStringLiteral("From %1 to %2. %3.")
        .arg(history::momentText(m_scene.stretch.fromMs), history::momentText(m_scene.stretch.toMs),
             shortened(parts.join(QStringLiteral("; ")), 600));
}

void Timeline::drawGrid(Svg &svg) const
{
    for (const Row &row : m_rows) {
        svg.rect("row", {0.0, row.top, width, row.bottom() - row.top});
    }
    constexpr double labelBaseline = 12.0;
    constexpr int mostTicks = 8;
    for (const Tick &tick : m_time.ticks(mostTicks)) {
        svg.line("grid", tick.position, labelBaseline + 4.0, tick.position, m_height - rowGap);
        svg.label(tick.position, labelBaseline, tick.label, width);
    }
}

void Timeline::drawLabel(Svg &svg, const Row &row) const
{
    constexpr double left = 8.0;
    constexpr double lineHeight = 14.0;
    const Device &device = deviceOf(row);
    const double middle = (row.top + row.bottom()) / 2.0;
    const bool hasFault = row.gravest != nullptr && row.gravest->severity <= Finding::Severity::Warning;
    const bool hasTwoLines = hasFault && row.bottom() - row.top >= 2.0 * lineHeight;
    constexpr double toBaseline = 4.0;
    const double first = middle + toBaseline - (hasTwoLines ? lineHeight / 2.0 : 0.0);
    const QString headline = hasFault ? QString(QChar(0x2716)) + QLatin1Char(' ') + row.gravest->headline : QString();
    if (hasTwoLines) {
        svg.text("alarm", left, first + lineHeight, shortened(headline, labelLength));
    }
    const bool isMarked = hasFault && !hasTwoLines;
    const QString title = isMarked ? QString(QChar(0x2716)) + QLatin1Char(' ') + device.title : device.title;
    svg.text(isMarked ? "alarm" : "bold", left, first, shortened(title, labelLength));
}

QString Timeline::titleOf(const Bar &bar) const
{
    const history::Command &command = *bar.command;
    if (bar.count > 1) {
        return QStringLiteral("%1 commands, %2, %3 to %4")
            .arg(history::countText(bar.count), nameOf(bar.look), history::clockText(bar.fromMs),
                 history::clockText(bar.toMs));
    }
    const QString name = shortened(m_scene.history.names.value(command.name), 60);
    return QStringLiteral("%1: %2, %3 for %4")
        .arg(name, nameOf(bar.look), history::clockText(bar.sentMs), history::durationText(bar.toMs - bar.sentMs));
}

void Timeline::drawBar(Svg &svg, const Row &row, const Bar &bar) const
{
    constexpr double gap = 2.0;
    constexpr double waitingHeight = 3.0;
    const double top = row.barsTop() + bar.lane * row.laneHeight + gap / 2.0;
    const double height = row.laneHeight - gap;
    const double sent = m_time.at(bar.sentMs);
    const double from = m_time.at(bar.fromMs);
    if (bar.count == 1 && sent - from > narrowest) {
        svg.rect("waiting", {from, top + (height - waitingHeight) / 2.0, sent - from, waitingHeight});
    }
    svg.rect(classOf(bar.look), {sent, top, std::max(m_time.at(bar.toMs) - sent, narrowest), height}, titleOf(bar));
}

/** A bracket with its name over the bars of the time. */
void Timeline::drawSpan(Svg &svg, const Row &row, const Finding &finding) const
{
    constexpr double foot = 5.0;
    constexpr double toBaseline = 4.0;
    constexpr double minimum = 3.0;
    const double from = m_time.at(finding.fromMs);
    const double to = std::max(m_time.at(finding.toMs), from + minimum);
    const double y = row.barsTop() - foot;
    const bool isOutage = finding.kind == Finding::Kind::LinkLost;
    if (isOutage) {
        svg.rect(classOf(Look::Unreachable), {from, row.barsTop(), to - from, row.barsBottom() - row.barsTop()},
                 finding.sentence);
    }
    svg.path(isOutage ? "outage" : "silence",
             QStringLiteral("M%1 %2v%3H%4v%5")
                 .arg(coordinate(from), coordinate(y + foot), coordinate(-foot), coordinate(to), coordinate(foot)));
    const QString label =
        QStringLiteral("%1 %2").arg(finding.headline.toLower(), history::durationText(finding.toMs - finding.fromMs));
    const double labelWidth = 6.0 * static_cast<double>(label.size());
    const double middle = std::clamp((from + to) / 2.0, plotLeft + labelWidth / 2.0, plotRight - labelWidth / 2.0);
    svg.text(isOutage ? "bold" : "alarm", middle, y - toBaseline + 1.0, label, Anchor::Middle);
}

/**
 * What the host sent again stands over what came, since the two often fall together. One of a kind is drawn at a
 * place: what lies under another cannot be seen.
 */
void Timeline::drawMarks(Svg &svg, const Row &row) const
{
    constexpr double closest = 5.0;
    double lastOf[] = {-closest, -closest, -closest, -closest, -closest, -closest};
    const auto draw = [&](Mark mark, double top, double ms, const QString &what) {
        const double x = m_time.at(ms);
        double &last = lastOf[static_cast<int>(mark)];
        if (m_scene.stretch.contains(ms) && x - last >= closest) {
            last = x;
            svg.mark(mark, x, top + marksHeight / 2.0, what + QLatin1Char(' ') + history::clockText(ms));
        }
    };
    for (const Bar &bar : row.lanes.bars) {
        if (bar.command->resentMs >= 0.0) {
            draw(Mark::Triangle, row.barsBottom(), bar.command->resentMs, QStringLiteral("sent again"));
        }
    }
    for (const Incident &incident : deviceOf(row).incidents) {
        static const char *const words[] = {"reply refused", "late reply", "reply came twice", "stray reply"};
        draw(markOf(incident.kind), row.incidentsTop(), incident.atMs,
             QString::fromLatin1(words[static_cast<int>(incident.kind)]));
    }
    for (const double clearMs : deviceOf(row).clears) {
        draw(Mark::Stroke, row.incidentsTop(), clearMs, QStringLiteral("cleared"));
    }
}

void Timeline::drawRow(Svg &svg, const Row &row) const
{
    for (const Finding *finding : row.spans) {
        drawSpan(svg, row, *finding);
    }
    // What went wrong is drawn last, over its neighbours.
    for (const Look look : looks) {
        for (const Bar &bar : row.lanes.bars) {
            if (bar.look == look) {
                drawBar(svg, row, bar);
            }
        }
    }
    drawMarks(svg, row);
    drawLabel(svg, row);
}

QString legendEntry(const QString &drawing, const QString &text)
{
    return wrapped("li", QStringLiteral("<svg viewBox=\"0 0 22 12\" aria-hidden=\"true\">%1</svg>").arg(drawing) +
                             escaped(text));
}

QString markEntry(Mark mark, const char *text)
{
    static const char *const outlines[] = {"M7 2l8 8m0-8-8 8", "M11 2l4 7h-8z",    "M11 1l4 5-4 5-4-5z",
                                           "M8 3h6v6h-6z",     "M11 1v10m-5-5h10", "M9 1v10m4-10v10"};
    return legendEntry(
        QStringLiteral("<path class=\"%1\" d=\"%2\"/>")
            .arg(QString::fromLatin1(classOf(mark)), QString::fromLatin1(outlines[static_cast<int>(mark)])),
        QString::fromLatin1(text));
}

} // namespace

Drawing timeline(const Scene &scene, const TimelineLimits &limits)
{
    return Timeline(scene, limits).draw();
}

QString legend(const history::History &history, bool showsWaiting)
{
    std::set<Look> shown;
    std::set<Incident::Kind> incidents;
    bool hasResends = false;
    bool hasClears = false;
    for (const Device &device : history.devices) {
        for (const history::Command &command : device.commands) {
            shown.insert(lookOf(command));
            hasResends = hasResends || command.resentMs >= 0.0;
        }
        hasClears = hasClears || !device.clears.empty();
        for (const Incident &incident : device.incidents) {
            incidents.insert(incident.kind);
        }
    }
    QString entries;
    for (const Look look : looks) {
        if (shown.count(look) > 0) {
            entries += legendEntry(QStringLiteral("<rect class=\"%1\" x=\"1\" y=\"1\" width=\"20\" height=\"10\"/>")
                                       .arg(QString::fromLatin1(classOf(look))),
                                   nameOf(look));
        }
    }
    if (showsWaiting) {
        entries += legendEntry(QStringLiteral("<rect class=\"waiting\" x=\"1\" y=\"4\" width=\"20\" height=\"3\"/>"),
                               QStringLiteral("waiting to be sent"));
    }
    entries += hasResends ? markEntry(Mark::Triangle, "sent again") : QString();
    static const std::pair<Incident::Kind, const char *> names[] = {{Incident::Kind::Rejected, "reply refused"},
                                                                    {Incident::Kind::Late, "late reply"},
                                                                    {Incident::Kind::Duplicate, "reply came twice"},
                                                                    {Incident::Kind::Foreign, "stray reply"}};
    for (const auto &[kind, name] : names) {
        entries += incidents.count(kind) > 0 ? markEntry(markOf(kind), name) : QString();
    }
    entries += hasClears ? markEntry(Mark::Stroke, "cleared by the host") : QString();
    return wrapped("ul", "legend", entries);
}

} // namespace biz::report
