#include <biz_monitor/window/legend.h>

#include <optional>

#include <QtGui/QPainter>

#include <biz_monitor/looks/colours.h>
#include <biz_monitor/looks/marks.h>

namespace biz::monitor {

namespace {

using report::Ink;
using report::Look;
using report::Mark;

constexpr double sampleWidth = 20.0;
constexpr double sampleHeight = 10.0;
constexpr double gap = 5.0;
constexpr double between = 14.0;

} // namespace

/** A sample and its words. */
struct Legend::Entry
{
    QString text;
    std::optional<Look> look;
    Mark mark = Mark::Cross;
};

Legend::Legend(QWidget *parent)
    : QWidget(parent)
{
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    setAccessibleName(QStringLiteral("Legend of the timeline"));
}

/** Puts one entry behind the other, in as many lines as it takes; the height of these. */
int Legend::layOut(int width, const std::function<void(const Entry &, const QPointF &)> &place) const
{
    std::vector<Entry> entries;
    for (const Look look : report::looks) {
        entries.push_back({report::nameOf(look), look, Mark::Cross});
    }
    entries.push_back({QStringLiteral("refused reply"), std::nullopt, Mark::Cross});
    entries.push_back({QStringLiteral("sent again"), std::nullopt, Mark::Triangle});
    entries.push_back({QStringLiteral("late reply"), std::nullopt, Mark::Diamond});
    entries.push_back({QStringLiteral("second reply"), std::nullopt, Mark::Square});
    entries.push_back({QStringLiteral("reply to nothing"), std::nullopt, Mark::Plus});
    const double lineHeight = fontMetrics().height() + 2.0;
    QPointF at(0.0, 0.0);
    for (const Entry &entry : entries) {
        const double needed = sampleWidth + gap + fontMetrics().horizontalAdvance(entry.text);
        if (at.x() > 0.0 && at.x() + needed > width) {
            at = QPointF(0.0, at.y() + lineHeight);
        }
        place(entry, at);
        at.rx() += needed + between;
    }
    return static_cast<int>(at.y() + lineHeight);
}

QSize Legend::sizeHint() const
{
    constexpr int usualWidth = 600;
    return {usualWidth, heightForWidth(usualWidth)};
}

QSize Legend::minimumSizeHint() const
{
    return {100, fontMetrics().height()};
}

int Legend::heightForWidth(int width) const
{
    return layOut(width, [](const Entry &, const QPointF &) {});
}

void Legend::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const Colours colours(palette());
    const double lineHeight = fontMetrics().height() + 2.0;
    layOut(width(), [&](const Entry &entry, const QPointF &at) {
        const QRectF sample(at.x() + 0.5, at.y() + (lineHeight - sampleHeight) / 2.0, sampleWidth - 1.0, sampleHeight);
        if (entry.look) {
            painter.setPen(
                QPen(colours.edgeOf(*entry.look), 1.0, *entry.look == Look::Open ? Qt::DashLine : Qt::SolidLine));
            painter.setBrush(colours.fillOf(*entry.look));
            painter.drawRect(sample);
        } else {
            drawMark(painter, entry.mark, sample.center(), colours);
        }
        painter.setPen(palette().color(QPalette::WindowText));
        painter.drawText(QRectF(at.x() + sampleWidth + gap, at.y(), width(), lineHeight),
                         Qt::AlignLeft | Qt::AlignVCenter, entry.text);
    });
}

} // namespace biz::monitor
