#ifndef BIZ_REPORT_SVG_H
#define BIZ_REPORT_SVG_H

#include <QtCore/QString>

namespace biz::report {

/** A rectangle of a drawing, in its units. */
struct Box
{
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;
};

/** The shapes by which marks are told apart where colours are not. */
enum class Mark {
    Cross,    ///< a reply was refused, or none came
    Triangle, ///< a command was sent again
    Diamond,  ///< a reply was late
    Square,   ///< a reply came twice
    Plus,     ///< a reply belonged to nothing
    Stroke,   ///< the host discarded its commands
};

/** Where a text stands by its point. */
enum class Anchor { Start, Middle, End };

/** An inline drawing with a title and a description for those who do not see it. */
class Svg
{
public:
    Svg(double width, double height, const QString &title, const QString &description);

    /** With a title that shows under a pointer; none where it is empty. */
    void rect(const char *cssClass, const Box &box, const QString &title = {});
    void line(const char *cssClass, double x1, double y1, double x2, double y2);
    void path(const char *cssClass, const QString &data);
    void text(const char *cssClass, double x, double y, const QString &text, Anchor anchor = Anchor::Start);
    /** A text of an axis under or over its point, within the drawing's width. */
    void label(double x, double y, const QString &text, double width);
    void mark(Mark mark, double x, double y, const QString &title = {});

    /** The whole element. */
    QString markup() const;

private:
    QString m_head;
    QString m_body;
};

/** The class by which a mark is coloured. */
const char *classOf(Mark mark);

} // namespace biz::report

#endif
