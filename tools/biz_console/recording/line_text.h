#ifndef BIZ_CONSOLE_LINE_TEXT_H
#define BIZ_CONSOLE_LINE_TEXT_H

#include <QtCore/QString>

#include <recording/recording_line.h>

namespace biz::console {

/** A line of a recording, or of what `--json` prints, as people read it. */
QString lineText(const tools::RecordingLine &line);

/** When its event happened, in local time: "2026-11-22 14:03:22.517"; empty when it does not say. */
QString localTimeOf(const tools::RecordingLine &line);

} // namespace biz::console

#endif
