#include <biz_monitor/looks/marks.h>

#include <QtGui/QPainter>
#include <QtGui/QPolygonF>

namespace biz::monitor {

namespace {

using report::Ink;
using report::Mark;

constexpr double reach = 4.0;
constexpr double thickness = 1.8;

void usePen(QPainter &painter, const QColor &colour)
{
    painter.setPen(QPen(colour, thickness));
    painter.setBrush(Qt::NoBrush);
}

} // namespace

void drawMark(QPainter &painter, Mark mark, const QPointF &at, const Colours &colours)
{
    const QPointF right(reach, 0.0);
    const QPointF down(0.0, reach);
    switch (mark) {
    case Mark::Cross:
        usePen(painter, colours(Ink::Bad));
        painter.drawLine(at - right - down, at + right + down);
        painter.drawLine(at + right - down, at - right + down);
        return;
    case Mark::Triangle:
        usePen(painter, colours(Ink::Late));
        painter.setBrush(colours(Ink::Late));
        painter.drawPolygon(QVector<QPointF>{at - down, at + right + down, at - right + down});
        return;
    case Mark::Diamond:
        usePen(painter, colours(Ink::Late));
        painter.drawPolygon(QVector<QPointF>{at - down, at + right, at + down, at - right});
        return;
    case Mark::Square:
        usePen(painter, colours(Ink::Odd));
        painter.drawRect(QRectF(at - right - down, at + right + down));
        return;
    case Mark::Plus:
        usePen(painter, colours(Ink::Odd));
        painter.drawLine(at - right, at + right);
        painter.drawLine(at - down, at + down);
        return;
    case Mark::Stroke:
        usePen(painter, colours(Ink::Quiet));
        painter.drawLine(at - right / 2 - down, at - right / 2 + down);
        painter.drawLine(at + right / 2 - down, at + right / 2 + down);
        return;
    }
}

} // namespace biz::monitor
