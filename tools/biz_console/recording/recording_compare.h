#ifndef BIZ_CONSOLE_RECORDING_COMPARE_H
#define BIZ_CONSOLE_RECORDING_COMPARE_H

#include <QtCore/QStringList>

#include <biz_console/recording/recording.h>

namespace biz::console {

/** Where a replay went another way than its recording, in lines for people; empty: nowhere. */
QStringList differences(const Recording &recorded, const Recording &replayed);

} // namespace biz::console

#endif
