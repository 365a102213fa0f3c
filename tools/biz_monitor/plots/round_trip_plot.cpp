#include <biz_monitor/plots/round_trip_plot.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include <QtGui/QPainter>

#include <biz_monitor/looks/marks.h>
#include <history/findings/findings.h>
#include <history/words.h>

namespace biz::monitor {

namespace {

using history::Command;
using report::DurationScale;
using report::Ink;
using report::TimeScale;

constexpr double dotSize = 4.4;

/** What happens at the dotted line. */
QString usableText(const history::Device &device, int waitMs)
{
    return (device.isOfDevice ? QStringLiteral("sent again after %1") : QStringLiteral("sure to wait %1"))
        .arg(history::durationText(history::usableWaitMs(device, waitMs)));
}

} // namespace

/** What falls into the time that is shown. */
struct RoundTripPlot::Shown
{
    std::vector<const Command *> answered;
    std::vector<const Command *> unanswered;
    double shortestMs = 1.0;
    double longestMs = 10.0;
    int waitMs = -1; ///< of the last of them
};

RoundTripPlot::RoundTripPlot(TimeAxis *axis, QWidget *parent)
    : Plot(axis, parent)
{
    setAccessibleName(QStringLiteral("Round trips over time"));
}

QSize RoundTripPlot::sizeHint() const
{
    return {600, 170};
}

QSize RoundTripPlot::minimumSizeHint() const
{
    return {240, 100};
}

/** Above it is a line for commands without a reply. */
QRectF RoundTripPlot::dotsArea(const QRectF &area) const
{
    return area.adjusted(0.0, 1.5 * lineHeight(), 0.0, 0.0);
}

RoundTripPlot::Shown RoundTripPlot::shown() const
{
    Shown shown;
    const report::Stretch stretch = timeScale().stretch();
    for (const Command &command : device()->commands) {
        if (command.sentMs < 0.0 || !stretch.contains(command.sentMs)) {
            continue;
        }
        shown.waitMs = command.waitMs;
        const double responseMs = command.responseMs();
        if (responseMs >= 0.0) {
            shown.shortestMs = shown.answered.empty() ? responseMs : std::min(shown.shortestMs, responseMs);
            shown.longestMs = shown.answered.empty() ? responseMs : std::max(shown.longestMs, responseMs);
            shown.answered.push_back(&command);
        } else if (command.isGivenUp()) {
            shown.unanswered.push_back(&command);
        }
    }
    shown.longestMs = std::max(shown.longestMs, static_cast<double>(shown.waitMs));
    return shown;
}

void RoundTripPlot::paintScale(QPainter &painter, const QRectF &area, const Colours &colours, const Shown &shown) const
{
    const QRectF dots = dotsArea(area);
    const DurationScale scale(shown.shortestMs, shown.longestMs, dots.bottom(), dots.top());
    const double labelHeight = lineHeight();
    const auto label = [&](double y, const QString &text, Ink ink) {
        painter.setPen(colours(ink));
        painter.drawText(QRectF(0.0, y - labelHeight / 2.0, leftMargin() - 6.0, labelHeight),
                         Qt::AlignRight | Qt::AlignVCenter, text);
    };
    double free = dots.bottom() + labelHeight;
    for (const report::Tick &tick : scale.ticks()) {
        painter.setPen(colours(Ink::Rule));
        painter.drawLine(QPointF(area.left(), tick.position), QPointF(area.right(), tick.position));
        if (tick.position + labelHeight / 2.0 <= free) {
            label(tick.position, tick.label, Ink::Quiet);
            free = tick.position - labelHeight / 2.0;
        }
    }
    if (!shown.unanswered.empty()) {
        label(area.top() + lineHeight() / 2.0, QStringLiteral("no reply"), Ink::Bad);
    }
    if (shown.waitMs > 0) {
        paintWait(painter, area, colours, shown);
    }
}

/** How long the commands wait, and when the channel acts. */
void RoundTripPlot::paintWait(QPainter &painter, const QRectF &area, const Colours &colours, const Shown &shown) const
{
    const QRectF dots = dotsArea(area);
    const DurationScale scale(shown.shortestMs, shown.longestMs, dots.bottom(), dots.top());
    const double labelHeight = lineHeight();
    const double waitY = scale.at(shown.waitMs);
    painter.setPen(QPen(colours(Ink::Bad), 1.4, Qt::DashLine));
    painter.drawLine(QPointF(area.left(), waitY), QPointF(area.right(), waitY));
    const double usableY = scale.at(std::max(history::usableWaitMs(*device(), shown.waitMs), shown.shortestMs));
    painter.setPen(QPen(colours(Ink::Late), 1.2, Qt::DotLine));
    painter.drawLine(QPointF(area.left(), usableY), QPointF(area.right(), usableY));
    constexpr double linesWithRoom = 6.0;
    if (usableY + labelHeight < dots.bottom() && dots.height() > linesWithRoom * labelHeight) {
        painter.setPen(colours(Ink::Quiet));
        painter.drawText(QRectF(area.left(), usableY, area.width() - 4.0, labelHeight), Qt::AlignRight,
                         usableText(*device(), shown.waitMs));
    }
    painter.setPen(colours(Ink::Bad));
    painter.drawText(QRectF(area.left(), waitY - labelHeight, area.width() - 4.0, labelHeight), Qt::AlignRight,
                     QStringLiteral("wait %1 ms").arg(shown.waitMs));
}

void RoundTripPlot::paintPlot(QPainter &painter, const QRectF &area, const Colours &colours)
{
    const Shown drawn = shown();
    paintScale(painter, area, colours, drawn);
    const TimeScale time = timeScale();
    const QRectF dots = dotsArea(area);
    const DurationScale scale(drawn.shortestMs, drawn.longestMs, dots.bottom(), dots.top());
    QVector<QPointF> points;
    for (const Command *command : drawn.answered) {
        points.append({time.at(command->sentMs), scale.at(command->responseMs())});
    }
    painter.setPen(QPen(colours(Ink::Good), dotSize, Qt::SolidLine, Qt::RoundCap));
    painter.drawPoints(points.constData(), static_cast<int>(points.size()));
    painter.setRenderHint(QPainter::Antialiasing);
    for (const Command *command : drawn.unanswered) {
        drawMark(painter, report::Mark::Cross, {time.at(command->sentMs), area.top() + lineHeight() / 2.0}, colours);
    }
}

QString RoundTripPlot::textAt(const QPointF &place) const
{
    constexpr double nearEnough = 5.0;
    const Shown drawn = shown();
    const TimeScale time = timeScale();
    const QRectF dots = dotsArea(area());
    const DurationScale scale(drawn.shortestMs, drawn.longestMs, dots.bottom(), dots.top());
    for (const Command *command : drawn.answered) {
        const QPointF dot(time.at(command->sentMs), scale.at(command->responseMs()));
        if ((dot - place).manhattanLength() <= nearEnough) {
            return QStringLiteral("%1: %2\nsent at %3")
                .arg(history()->names.value(command->name), history::durationText(command->responseMs()),
                     history::momentText(command->sentMs));
        }
    }
    return {};
}

} // namespace biz::monitor
