#include <biz_monitor/looks/health_icon.h>

#include <QtGui/QPainter>
#include <QtGui/QPixmap>

#include <biz_monitor/looks/colours.h>

namespace biz::monitor {

namespace {

using report::Ink;

// The shapes are drawn on a square of this size, whatever the size of the picture.
constexpr double side = 16.0;
constexpr int pictureSides[] = {16, 32, 64};

Ink inkOf(Health health)
{
    switch (health) {
    case Health::LinkLost:
        return Ink::Down;
    case Health::Silent:
    case Health::Refused:
        return Ink::Bad;
    case Health::Troubled:
        return Ink::Late;
    case Health::Connecting:
    case Health::Closed:
    case Health::Unused:
        return Ink::Neutral;
    case Health::Answering:
        return Ink::Good;
    }
    Q_UNREACHABLE();
}

/** The points as both Qts take them. */
QPolygonF shape(std::initializer_list<QPointF> points)
{
    return QPolygonF(QVector<QPointF>(points));
}

void drawStroke(QPainter &painter, std::initializer_list<QPointF> points, double width)
{
    QPen pen(painter.pen().color(), width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    painter.drawPolyline(shape(points));
}

/** A disc with a cross in the colour of the page. */
void drawSilent(QPainter &painter, const QColor &page)
{
    painter.drawEllipse(QRectF(1.0, 1.0, 14.0, 14.0));
    painter.setPen(page);
    drawStroke(painter, {{5.2, 5.2}, {10.8, 10.8}}, 2.0);
    drawStroke(painter, {{10.8, 5.2}, {5.2, 10.8}}, 2.0);
}

/** A stop sign with a bar. */
void drawRefused(QPainter &painter, const QColor &page)
{
    const QPolygonF octagon =
        shape({{5.2, 1.2}, {10.8, 1.2}, {14.8, 5.2}, {14.8, 10.8}, {10.8, 14.8}, {5.2, 14.8}, {1.2, 10.8}, {1.2, 5.2}});
    painter.drawPolygon(octagon);
    painter.setPen(page);
    drawStroke(painter, {{4.8, 8.0}, {11.2, 8.0}}, 2.4);
}

void drawTroubled(QPainter &painter, const QColor &page)
{
    painter.drawPolygon(shape({{8.0, 1.6}, {15.2, 14.4}, {0.8, 14.4}}));
    painter.setPen(page);
    drawStroke(painter, {{8.0, 6.0}, {8.0, 9.6}}, 1.9);
    drawStroke(painter, {{8.0, 12.2}, {8.0, 12.25}}, 1.9);
}

/** A line that is cut. */
void drawLinkLost(QPainter &painter)
{
    drawStroke(painter, {{1.6, 8.0}, {5.6, 8.0}}, 2.6);
    drawStroke(painter, {{10.4, 8.0}, {14.4, 8.0}}, 2.6);
    drawStroke(painter, {{9.6, 3.2}, {6.4, 12.8}}, 2.0);
}

void drawRing(QPainter &painter, Qt::PenStyle style)
{
    painter.setPen(QPen(painter.pen().color(), 2.0, style));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QRectF(2.0, 2.0, 12.0, 12.0));
}

void draw(QPainter &painter, Health health, const QColor &page)
{
    switch (health) {
    case Health::LinkLost:
        drawLinkLost(painter);
        return;
    case Health::Silent:
        drawSilent(painter, page);
        return;
    case Health::Refused:
        drawRefused(painter, page);
        return;
    case Health::Troubled:
        drawTroubled(painter, page);
        return;
    case Health::Connecting:
        drawRing(painter, Qt::DotLine);
        return;
    case Health::Closed:
        painter.drawRect(QRectF(3.5, 3.5, 9.0, 9.0));
        return;
    case Health::Unused:
        drawRing(painter, Qt::SolidLine);
        return;
    case Health::Answering:
        drawStroke(painter, {{2.4, 8.6}, {6.4, 12.6}, {13.6, 3.6}}, 2.6);
        return;
    }
}

QPixmap picture(Health health, int pictureSide, const QColor &colour, const QColor &page)
{
    QPixmap pixmap(pictureSide, pictureSide);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(pictureSide / side, pictureSide / side);
    painter.setPen(colour);
    painter.setBrush(colour);
    draw(painter, health, page);
    return pixmap;
}

} // namespace

QIcon healthIcon(Health health, const QPalette &palette)
{
    const Colours colours(palette);
    QIcon icon;
    for (const int pictureSide : pictureSides) {
        icon.addPixmap(picture(health, pictureSide, colours(inkOf(health)), colours(Ink::Page)));
        icon.addPixmap(
            picture(health, pictureSide, palette.color(QPalette::HighlightedText), palette.color(QPalette::Highlight)),
            QIcon::Selected);
    }
    return icon;
}

} // namespace biz::monitor
