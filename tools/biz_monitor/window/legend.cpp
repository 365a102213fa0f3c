#include <biz_monitor/window/legend.h>

#include <algorithm>
#include <array>

#include <QtGui/QPainter>

#include <biz_monitor/looks/colours.h>
#include <biz_monitor/looks/fonts.h>
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

Legend::Legend(QWidget *parent)
    : QWidget(parent)
{
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    setFont(scaled(font(), smallerFont));
    setAccessibleName(QStringLiteral("Legend of the timeline"));
}

std::vector<Legend::Entry> Legend::entriesFor(const history::Device &device)
{
    std::array<bool, std::size(report::looks)> hasLook{};
    bool hasResent = false;
    for (const history::Command &command : device.commands) {
        hasLook[static_cast<std::size_t>(report::lookOf(command))] = true;
        hasResent = hasResent || command.resentMs >= 0.0;
    }
    std::vector<Entry> entries;
    for (const Look look : report::looks) {
        if (hasLook[static_cast<std::size_t>(look)]) {
            entries.push_back({report::nameOf(look), look, Mark::Cross});
        }
    }
    if (hasResent) {
        entries.push_back({QStringLiteral("sent again"), std::nullopt, Mark::Triangle});
    }
    const auto add = [&](history::Incident::Kind kind, Mark mark, const char *text) {
        const bool occurs = std::any_of(device.incidents.begin(), device.incidents.end(),
                                        [kind](const history::Incident &incident) { return incident.kind == kind; });
        if (occurs) {
            entries.push_back({QString::fromLatin1(text), std::nullopt, mark});
        }
    };
    add(history::Incident::Kind::Rejected, Mark::Cross, "refused reply");
    add(history::Incident::Kind::Late, Mark::Diamond, "late reply");
    add(history::Incident::Kind::Duplicate, Mark::Square, "second reply");
    add(history::Incident::Kind::Foreign, Mark::Plus, "reply to nothing");
    if (!device.clears.empty()) {
        entries.push_back({QStringLiteral("cleared"), std::nullopt, Mark::Stroke});
    }
    return entries;
}

void Legend::show(const history::Device &device)
{
    std::vector<Entry> entries = entriesFor(device);
    const bool isSame = std::equal(entries.begin(), entries.end(), m_entries.begin(), m_entries.end(),
                                   [](const Entry &a, const Entry &b) { return a.text == b.text; });
    if (isSame) {
        return;
    }
    m_entries = std::move(entries);
    QStringList texts;
    for (const Entry &entry : m_entries) {
        texts << entry.text;
    }
    setAccessibleDescription(texts.join(QStringLiteral(", ")));
    updateGeometry();
    update();
}

/** Puts one entry behind the other, in as many lines as it takes; the height of these. */
int Legend::layOut(int width, const std::function<void(const Entry &, const QPointF &)> &place) const
{
    const double lineHeight = fontMetrics().height() + 2.0;
    QPointF at(0.0, 0.0);
    for (const Entry &entry : m_entries) {
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
