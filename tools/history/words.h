#ifndef BIZ_HISTORY_WORDS_H
#define BIZ_HISTORY_WORDS_H

#include <QtCore/QString>

/** Numbers as a sentence has them, in English whatever the locale. */
namespace biz::history {

/** "1 command", "3 commands", "12,345 commands". */
QString countText(quint64 count, const char *one, const char *many);
QString countText(quint64 count);

/** "0.35 ms", "12.3 ms", "480 ms", "12.4 s", "3 min 20 s", "2 h 5 min". */
QString durationText(double milliseconds);

/** "14:03:22", local time. */
QString clockText(double ms);

/** "2026-11-22 14:03:22.517", local time. */
QString momentText(double ms);

} // namespace biz::history

#endif
