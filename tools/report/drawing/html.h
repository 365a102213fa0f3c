#ifndef BIZ_REPORT_HTML_H
#define BIZ_REPORT_HTML_H

#include <QtCore/QString>

namespace biz::report {

/**
 * A text of somebody else's, as it stands in HTML and SVG, in attributes as well: no markup, and no
 * characters that are not seen or that turn the direction of what follows.
 */
QString escaped(const QString &text);

/** The same, cut to a length, with "…" where something is left out. */
QString shortened(const QString &text, int length);

/** "12.3": a coordinate without digits that nobody sees. */
QString coordinate(double value);

/** "<tag>text</tag>", or with a class, of an escaped text. */
QString element(const char *tag, const QString &text);
QString element(const char *tag, const char *cssClass, const QString &text);

/** The same around markup. */
QString wrapped(const char *tag, const QString &markup);
QString wrapped(const char *tag, const char *cssClass, const QString &markup);

} // namespace biz::report

#endif
