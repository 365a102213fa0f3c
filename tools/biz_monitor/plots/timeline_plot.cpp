#include <biz_monitor/plots/timeline_plot.h>

#include <algorithm>

#include <QtGui/QPainter>

#include <biz_monitor/looks/marks.h>
#include <history/words.h>

namespace biz::monitor {

namespace {

using history::Incident;
using report::Bar;
using report::Ink;
using report::Lanes;
using report::TimeScale;

constexpr double narrowestBar = 1.6;
constexpr double narrowestPattern = 4.0;
constexpr double thickestLane = 44.0;
constexpr int mostLanes = 4;
constexpr int mostBars = 400;

report::Mark markOf(Incident::Kind kind)
{
    switch (kind) {
    case Incident::Kind::Rejected:
        return report::Mark::Cross;
    case Incident::Kind::Late:
        return report::Mark::Diamond;
    case Incident::Kind::Duplicate:
        return report::Mark::Square;
    case Incident::Kind::Foreign:
        return report::Mark::Plus;
    }
    Q_UNREACHABLE();
}

} // namespace

TimelinePlot::TimelinePlot(TimeAxis *axis, QWidget *parent)
    : Plot(axis, parent)
{
    setAccessibleName(QStringLiteral("Timeline of commands"));
}

QSize TimelinePlot::sizeHint() const
{
    return {600, 130};
}

QSize TimelinePlot::minimumSizeHint() const
{
    return {240, 96};
}

QRectF TimelinePlot::barsArea(const QRectF &area) const
{
    return area.adjusted(0.0, lineHeight(), 0.0, -lineHeight());
}

Lanes TimelinePlot::lanes() const
{
    return report::lanesOf(*device(), timeScale().stretch(), {mostLanes, mostBars});
}

QRectF TimelinePlot::rectOf(const Bar &bar, const Lanes &lanes, const TimeScale &time) const
{
    const QRectF bars = barsArea(area());
    const double laneHeight = std::min(bars.height() / lanes.count, thickestLane);
    const double top = bars.center().y() + (bar.lane - lanes.count / 2.0) * laneHeight;
    const double left = time.at(bar.sentMs);
    return {left, top + 1.0, std::max(time.at(bar.toMs) - left, narrowestBar), laneHeight - 2.0};
}

void TimelinePlot::paintPlot(QPainter &painter, const QRectF &area, const Colours &colours)
{
    paintNames(painter, area, colours);
    paintLink(painter, area, colours);
    paintBars(painter, colours);
    paintMarks(painter, area, colours);
}

void TimelinePlot::paintNames(QPainter &painter, const QRectF &area, const Colours &colours) const
{
    painter.setPen(colours(Ink::Quiet));
    const auto name = [&](double top, double bottom, const QString &text) {
        painter.drawText(QRectF(0.0, top, leftMargin() - 6.0, bottom - top), Qt::AlignRight | Qt::AlignVCenter, text);
    };
    const QRectF bars = barsArea(area);
    name(area.top(), bars.top(), device()->link.empty() ? QString() : QStringLiteral("link"));
    name(bars.top(), bars.bottom(), QStringLiteral("commands"));
    name(bars.bottom(), area.bottom(), QStringLiteral("marks"));
}

/** Bands where the link was not up, with the state in words where there is room. */
void TimelinePlot::paintLink(QPainter &painter, const QRectF &area, const Colours &colours) const
{
    const TimeScale time = timeScale();
    for (const history::LinkSpan &span : device()->link) {
        const double toMs = span.toMs < 0.0 ? time.stretch().toMs : span.toMs;
        if (span.state == host::LinkState::Up || !time.stretch().touches(span.fromMs, toMs)) {
            continue;
        }
        const double left = time.at(span.fromMs);
        const QRectF band(left, area.top(), std::max(time.at(toMs) - left, narrowestBar), area.height());
        const bool isLost = span.state == host::LinkState::Lost;
        painter.fillRect(band, colours(isLost ? Ink::DownSoft : Ink::Band));
        painter.setPen(colours(isLost ? Ink::Down : Ink::Quiet));
        painter.drawLine(band.topLeft(), band.topRight());
        const QString state = QStringLiteral("link ") + host::linkStateName(span.state);
        if (painter.fontMetrics().horizontalAdvance(state) < band.width()) {
            painter.drawText(QRectF(left, area.top(), band.width(), lineHeight()), Qt::AlignCenter, state);
        }
    }
}

void TimelinePlot::paintBars(QPainter &painter, const Colours &colours) const
{
    const TimeScale time = timeScale();
    const Lanes drawn = lanes();
    for (const Bar &bar : drawn.bars) {
        const QRectF rect = rectOf(bar, drawn, time);
        const double given = time.at(bar.fromMs);
        if (rect.left() - given >= 1.0) {
            painter.fillRect(QRectF(given, rect.center().y() - 1.0, rect.left() - given, 2.0), colours(Ink::Neutral));
        }
        if (rect.width() < narrowestPattern) {
            painter.fillRect(rect, colours.edgeOf(bar.look));
            continue;
        }
        if (bar.look == report::Look::GivenUp) {
            painter.fillRect(rect, colours(Ink::BadSoft));
        }
        painter.fillRect(rect, colours.fillOf(bar.look));
        painter.setPen(
            QPen(colours.edgeOf(bar.look), 1.0, bar.look == report::Look::Open ? Qt::DashLine : Qt::SolidLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(rect);
    }
}

void TimelinePlot::paintMarks(QPainter &painter, const QRectF &area, const Colours &colours) const
{
    const TimeScale time = timeScale();
    const double y = area.bottom() - lineHeight() / 2.0;
    painter.setRenderHint(QPainter::Antialiasing);
    for (const history::Command &command : device()->commands) {
        if (command.resentMs >= 0.0 && time.stretch().contains(command.resentMs)) {
            drawMark(painter, report::Mark::Triangle, {time.at(command.resentMs), y}, colours);
        }
    }
    for (const double clearMs : device()->clears) {
        if (time.stretch().contains(clearMs)) {
            drawMark(painter, report::Mark::Stroke, {time.at(clearMs), y}, colours);
        }
    }
    for (const Incident &incident : device()->incidents) {
        if (time.stretch().contains(incident.atMs)) {
            drawMark(painter, markOf(incident.kind), {time.at(incident.atMs), y}, colours);
        }
    }
}

QString TimelinePlot::textAt(const QPointF &place) const
{
    const TimeScale time = timeScale();
    const Lanes drawn = lanes();
    for (const Bar &bar : drawn.bars) {
        if (!rectOf(bar, drawn, time).adjusted(-1.0, 0.0, 1.0, 0.0).contains(place)) {
            continue;
        }
        if (bar.count > 1) {
            return QStringLiteral("%1 commands, %2").arg(history::countText(bar.count), report::nameOf(bar.look));
        }
        return QStringLiteral("%1: %2\nsent at %3, for %4")
            .arg(history()->names.value(bar.command->name), report::nameOf(bar.look), history::momentText(bar.sentMs),
                 history::durationText(bar.toMs - bar.sentMs));
    }
    return {};
}

} // namespace biz::monitor
