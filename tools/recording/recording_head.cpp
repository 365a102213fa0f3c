#include <recording/recording_head.h>

#include <common/errors.h>
#include <recording/recording_format.h>

namespace biz::tools {

namespace {

/** Most files that are no recordings are sessions, which spread over lines: what is wrong is the file. */
RecordingLine firstLine(const QByteArray &json, const QString &name)
{
    try {
        RecordingLine line(json, name, 1);
        static_cast<void>(line.event()); // a session may stand on one line
        return line;
    } catch (const InputError &error) {
        throw InputError(error.problems() +
                         QStringList{QStringLiteral("%1: no recording; sessions are played by 'biz_console run' and "
                                                    "'biz_console osd'")
                                         .arg(name)});
    }
}

} // namespace

RecordingHead readRecordingHead(const QByteArray &json, const QString &name)
{
    const RecordingLine line = firstLine(json, name);
    if (line.event() != QLatin1String(recorded::head)) {
        line.fail(QStringLiteral("the head of a recording expected, as 'biz_console run --record' writes it"));
    }
    if (line.number("format") != recorded::formatVersion) {
        line.fail(QStringLiteral("format %1 expected, not %2")
                      .arg(QString::number(recorded::formatVersion), QString::number(line.number("format"))));
    }
    RecordingHead head;
    head.isOfDevice = line.text("channel") == QLatin1String("device");
    head.link = line.text("link");
    head.utc = QDateTime::fromString(line.text("utc"), Qt::ISODateWithMs);
    if (!head.utc.isValid()) {
        line.fail(QStringLiteral("utc: a date and time expected, not \"%1\"").arg(line.text("utc")));
    }
    head.isPart = line.has(recorded::part) && line.boolean(recorded::part);
    head.isAmidCommands = head.isPart && line.boolean(recorded::amidCommands);
    if (head.isOfDevice) {
        head.deviceType = line.number("deviceType");
        head.isPipelined = line.boolean("pipelined");
        head.reconnects = line.has(recorded::reconnects) && line.boolean(recorded::reconnects);
    }
    return head;
}

} // namespace biz::tools
