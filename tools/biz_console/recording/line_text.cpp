#include <biz_console/recording/line_text.h>

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

#include <common/hex.h>
#include <common/shown_text.h>
#include <recording/recording_format.h>

namespace biz::console {

namespace recorded = tools::recorded;
using tools::RecordingLine;

namespace {

constexpr int timeWidth = 12; ///< of the time of day, as lines of a run have it
constexpr int eventWidth = 16;
constexpr int commandWidth = 34;

/** "F1/08 get scene (3 of 5)"; of an OSD device its address stands behind the name. */
QString commandOf(const RecordingLine &line)
{
    QStringList words{line.text("command", {}), line.text("name", {})};
    if (words.first() == words.last()) {
        words.removeLast();
    }
    words.removeAll(QString());
    const QString device = line.text("device", {});
    const QString which = line.text("which", device);
    return words.join(QLatin1Char(' ')) + (which.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(which));
}

/** The beginning of what was sent or received, which can be long. */
QString bytesText(const QByteArray &bytes)
{
    constexpr int shownBytes = 16;
    const QString dots = bytes.size() > shownBytes ? QStringLiteral("...") : QString();
    const QString count = bytes.size() == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(bytes.size());
    return bytes.isEmpty() ? QString()
                           : QStringLiteral("%1: %2%3").arg(count, tools::hexText(bytes.left(shownBytes)), dots);
}

QString summaryText(const RecordingLine &line)
{
    const QString verdict = line.has("asExpected") && line.boolean("asExpected")
                                ? QStringLiteral("all as expected")
                                : QStringLiteral("%1 not as expected").arg(line.number("mismatchCount", 0));
    return QStringLiteral("%1 commands, %2").arg(QString::number(line.number("commands", 0)), verdict);
}

QString detailOf(const RecordingLine &line)
{
    if (line.event() == QLatin1String("summary")) {
        return summaryText(line);
    }
    const bool isOfLink =
        line.event() == QLatin1String(recorded::bytesIn) || line.event() == QLatin1String(recorded::bytesOut);
    QStringList words;
    words << line.text("broken", line.text("reason", {})) << line.text("state", {}) << line.text("link", {})
          << (isOfLink ? bytesText(line.bytes("data")) : QString());
    words.removeAll(QString());
    return words.join(QStringLiteral("  "));
}

} // namespace

QString localTimeOf(const RecordingLine &line)
{
    const QDateTime utc = QDateTime::fromString(line.text("utc", {}), Qt::ISODateWithMs);
    return utc.isValid() ? QLocale::c().toString(utc.toLocalTime(), QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"))
                         : QString();
}

QString lineText(const RecordingLine &line)
{
    QString text =
        QStringLiteral("%1  %2  %3  %4")
            .arg(localTimeOf(line).right(timeWidth).leftJustified(timeWidth), line.event().leftJustified(eventWidth),
                 commandOf(line).leftJustified(commandWidth), detailOf(line));
    while (text.endsWith(QLatin1Char(' '))) {
        text.chop(1);
    }
    return tools::shownText(text);
}

} // namespace biz::console
