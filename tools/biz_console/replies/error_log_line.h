#ifndef BIZ_CONSOLE_ERROR_LOG_LINE_H
#define BIZ_CONSOLE_ERROR_LOG_LINE_H

#include <optional>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <host/reply_words.h>

namespace biz::console {

/** The bytes of a reply's head that the rules look at, and that the log shows. */
constexpr int firstHeadByte = 1;
constexpr int lastHeadByte = 5;

/** One line of the error log, read back. */
struct ErrorLogLine
{
    QString loggedName; ///< as it stands in the log: "ORLIXA2"; empty for a model that the log cannot name
    QString time;       ///< "2024-05-06 14:03:22.517", local time of the machine that wrote it
    model_Protocoldata reply;
};

/**
 * Reads a line back; none when the log cannot have written it, such as a torn one. The
 * dump of the payload has two digits for a byte up to 7f and sixteen from 80 on, so it can
 * be read in one way only.
 */
std::optional<ErrorLogLine> readErrorLogLine(const QByteArray &line);

/** The model that the log names so; null when its replies are never refused. */
const host::CheckedModel *modelOfLoggedName(const QString &loggedName);

} // namespace biz::console

#endif
