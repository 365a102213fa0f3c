#ifndef BIZ_TOOLS_SHOWN_TEXT_H
#define BIZ_TOOLS_SHOWN_TEXT_H

#include <QtCore/QString>

namespace biz::tools {

/**
 * A text of a file, a device or a user as a terminal may show it: on one line, and without what
 * terminals obey. Control characters, line separators and marks that turn the direction of
 * writing are written as \x1b or \u202e.
 */
QString shownText(const QString &text);

/** The same in quotes: "get volume". */
QString quotedText(const QString &text);

} // namespace biz::tools

#endif
