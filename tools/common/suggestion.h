#ifndef BIZ_TOOLS_SUGGESTION_H
#define BIZ_TOOLS_SUGGESTION_H

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace biz::tools {

/** The one of the words that a misspelt one most likely stands for; empty when none is close. */
QString closestTo(const QString &misspelt, const QStringList &words);

/** "; did you mean 'osd'?", or nothing when no word is close. */
QString suggestionFor(const QString &misspelt, const QStringList &words);

} // namespace biz::tools

#endif
