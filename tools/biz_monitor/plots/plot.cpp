#include <biz_monitor/plots/plot.h>

#include <algorithm>

#include <QtGui/QHelpEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QToolTip>

#include <biz_monitor/looks/fonts.h>
#include <biz_monitor/looks/tool_tip.h>

namespace biz::monitor {

namespace {

using report::Ink;

constexpr double step = 0.1;
constexpr double page = 0.9;
constexpr double closer = 0.5;
constexpr double further = 2.0;

constexpr double rightMargin = 10.0;
constexpr double topMargin = 4.0;
constexpr double gap = 6.0;

} // namespace

Plot::Plot(TimeAxis *axis, QWidget *parent)
    : QWidget(parent)
    , m_axis(axis)
{
    setFont(scaled(font(), smallerFont));
    setFocusPolicy(Qt::StrongFocus);
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
    connect(axis, &TimeAxis::changed, this, qOverload<>(&Plot::update));
}

void Plot::show(const history::History *history, int device)
{
    m_history = history;
    m_device = device;
    update();
}

const history::Device *Plot::device() const
{
    if (m_history == nullptr || m_device < 0 || m_device >= static_cast<int>(m_history->devices.size())) {
        return nullptr;
    }
    return &m_history->devices[static_cast<std::size_t>(m_device)];
}

double Plot::leftMargin() const
{
    return fontMetrics().horizontalAdvance(QLatin1String("commands")) + 2.0 * gap;
}

QRectF Plot::area() const
{
    const double left = leftMargin();
    return {left, topMargin, std::max(width() - left - rightMargin, 1.0),
            std::max(height() - lineHeight() - gap - topMargin, 1.0)};
}

report::TimeScale Plot::timeScale() const
{
    return report::TimeScale(m_axis->stretch(), area().left(), area().right());
}

void Plot::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const Colours colours(palette());
    paintAxis(painter, colours);
    if (device() != nullptr) {
        painter.save();
        paintPlot(painter, area(), colours);
        painter.restore();
    }
    if (hasFocus()) {
        painter.setPen(palette().color(QPalette::Highlight));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

void Plot::paintAxis(QPainter &painter, const Colours &colours) const
{
    const QRectF plot = area();
    const double usualWidth = fontMetrics().horizontalAdvance(QLatin1String("00:00:00")) + 4.0 * gap;
    const int most = std::max(static_cast<int>(plot.width() / usualWidth), 1);
    double free = 0.0;
    for (const report::Tick &tick : timeScale().ticks(most)) {
        painter.setPen(colours(Ink::Rule));
        painter.drawLine(QPointF(tick.position, plot.top()), QPointF(tick.position, plot.bottom()));
        const double labelWidth = fontMetrics().horizontalAdvance(tick.label);
        const double left = std::min(tick.position - labelWidth / 2.0, width() - labelWidth - 2.0);
        if (left < free) {
            continue;
        }
        free = left + labelWidth + gap;
        painter.setPen(colours(Ink::Quiet));
        painter.drawText(QRectF(left, plot.bottom() + 2.0, labelWidth, lineHeight()), Qt::AlignCenter, tick.label);
    }
    painter.setPen(colours(Ink::Rule));
    painter.drawLine(plot.bottomLeft(), plot.bottomRight());
}

void Plot::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Left:
        m_axis->goBack(step);
        return;
    case Qt::Key_Right:
        m_axis->goBack(-step);
        return;
    case Qt::Key_PageUp:
        m_axis->goBack(page);
        return;
    case Qt::Key_PageDown:
        m_axis->goBack(-page);
        return;
    case Qt::Key_Plus:
    case Qt::Key_Equal:
        m_axis->zoom(closer);
        return;
    case Qt::Key_Minus:
        m_axis->zoom(further);
        return;
    case Qt::Key_End:
        m_axis->setFollowing(true);
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}

void Plot::wheelEvent(QWheelEvent *event)
{
    const QPoint turned = event->angleDelta();
    if (turned.y() == 0) {
        event->ignore();
        return;
    }
    const double share = (event->position().x() - area().left()) / area().width();
    m_axis->zoom(turned.y() > 0 ? closer : further, std::clamp(share, 0.0, 1.0));
    event->accept();
}

void Plot::mousePressEvent(QMouseEvent *event)
{
    m_draggedFrom = event->pos().x();
}

void Plot::mouseMoveEvent(QMouseEvent *event)
{
    const double x = event->pos().x();
    m_axis->goBack((x - m_draggedFrom) / area().width());
    m_draggedFrom = x;
}

bool Plot::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip) {
        return QWidget::event(event);
    }
    const auto *const help = static_cast<QHelpEvent *>(event);
    const QString text = device() == nullptr ? QString() : textAt(help->pos());
    if (text.isEmpty()) {
        QToolTip::hideText();
    } else {
        QToolTip::showText(help->globalPos(), plainToolTip(text), this);
    }
    return true;
}

} // namespace biz::monitor
