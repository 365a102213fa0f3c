#include <report/drawing/svg.h>

#include <algorithm>

#include <report/drawing/html.h>

namespace biz::report {

namespace {

QString attribute(const char *name, double value)
{
    return QLatin1Char(' ') + QLatin1String(name) + QLatin1String("=\"") + coordinate(value) + QLatin1Char('"');
}

QString opening(const char *tag, const char *cssClass)
{
    return QLatin1Char('<') + QLatin1String(tag) + QLatin1String(" class=\"") + QLatin1String(cssClass) +
           QLatin1Char('"');
}

/** Around the origin, about eight units across. */
const char *outlineOf(Mark mark)
{
    switch (mark) {
    case Mark::Cross:
        return "m-4-4 8 8m0-8-8 8";
    case Mark::Triangle:
        return "m0-4 4 7h-8z";
    case Mark::Diamond:
        return "m0-5 4 5-4 5-4-5z";
    case Mark::Square:
        return "m-3-3h6v6h-6z";
    case Mark::Plus:
        return "m0-5v10m-5-5h10";
    case Mark::Stroke:
        return "m-2-5v10m4-10v10";
    }
    Q_UNREACHABLE();
}

} // namespace

const char *classOf(Mark mark)
{
    switch (mark) {
    case Mark::Cross:
        return "k k-cross";
    case Mark::Triangle:
        return "k k-triangle";
    case Mark::Diamond:
        return "k k-diamond";
    case Mark::Square:
        return "k k-square";
    case Mark::Plus:
        return "k k-plus";
    case Mark::Stroke:
        return "k k-stroke";
    }
    Q_UNREACHABLE();
}

Svg::Svg(double width, double height, const QString &title, const QString &description)
    : m_head(QStringLiteral("<svg class=\"drawing\" role=\"img\" viewBox=\"0 0 %1 %2\">")
                 .arg(coordinate(width), coordinate(height)) +
             element("title", title) + element("desc", description))
{
}

void Svg::rect(const char *cssClass, const Box &box, const QString &title)
{
    m_body += opening("rect", cssClass) + attribute("x", box.x) + attribute("y", box.y) +
              attribute("width", box.width) + attribute("height", box.height);
    m_body += title.isEmpty() ? QStringLiteral("/>\n")
                              : QLatin1Char('>') + element("title", title) + QLatin1String("</rect>\n");
}

void Svg::line(const char *cssClass, double x1, double y1, double x2, double y2)
{
    m_body += opening("line", cssClass) + attribute("x1", x1) + attribute("y1", y1) + attribute("x2", x2) +
              attribute("y2", y2) + QLatin1String("/>\n");
}

void Svg::path(const char *cssClass, const QString &data)
{
    m_body += opening("path", cssClass) + QLatin1String(" d=\"") + data + QLatin1String("\"/>\n");
}

void Svg::text(const char *cssClass, double x, double y, const QString &text, Anchor anchor)
{
    m_body += opening("text", cssClass) + attribute("x", x) + attribute("y", y);
    if (anchor != Anchor::Start) {
        m_body +=
            anchor == Anchor::Middle ? QLatin1String(" text-anchor=\"middle\"") : QLatin1String(" text-anchor=\"end\"");
    }
    m_body += QLatin1Char('>') + escaped(text) + QLatin1String("</text>\n");
}

void Svg::label(double x, double y, const QString &label, double width)
{
    constexpr double characterWidth = 6.6;
    const double half = characterWidth * static_cast<double>(label.size()) / 2.0;
    text("axis", std::clamp(x, half, width - half), y, label, Anchor::Middle);
}

void Svg::mark(Mark mark, double x, double y, const QString &title)
{
    m_body += opening("path", classOf(mark)) + QLatin1String(" d=\"M") + coordinate(x) + QLatin1Char(' ') +
              coordinate(y) + QLatin1String(outlineOf(mark));
    m_body += title.isEmpty() ? QStringLiteral("\"/>\n")
                              : QLatin1String("\">") + element("title", title) + QLatin1String("</path>\n");
}

QString Svg::markup() const
{
    return m_head + m_body + QLatin1String("</svg>\n");
}

} // namespace biz::report
