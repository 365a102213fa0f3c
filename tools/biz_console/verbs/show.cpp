#include <biz_console/verbs/verbs.h>

#include <QtCore/QDateTime>
#include <QtCore/QRegularExpression>

#include <biz_console/cli/command_line.h>
#include <biz_console/recording/line_text.h>
#include <biz_console/replies/log_report.h>
#include <biz_console/session/expectation.h>
#include <common/files/input_file.h>
#include <common/shown_text.h>
#include <common/suggestion.h>
#include <recording/recording_format.h>

namespace biz::console {

namespace recorded = tools::recorded;
using tools::RecordingLine;

namespace {

QString commandOption()
{
    return QStringLiteral("command");
}

QString eventOption()
{
    return QStringLiteral("event");
}

QString sinceOption()
{
    return QStringLiteral("since");
}

/** All that lines of recordings and of `--json` are named after. */
QStringList knownEvents()
{
    return host::outcomeNames() + expectableNames() +
           QStringList{QLatin1String(recorded::head),
                       QLatin1String(recorded::linkOpening),
                       QLatin1String(recorded::linkOpened),
                       QLatin1String(recorded::linkClosed),
                       QLatin1String(recorded::bytesOut),
                       QLatin1String(recorded::bytesIn),
                       QStringLiteral("start"),
                       QStringLiteral("given"),
                       QStringLiteral("writing"),
                       QStringLiteral("linkStateChanged"),
                       QStringLiteral("opened"),
                       QStringLiteral("refused"),
                       QStringLiteral("failed"),
                       QStringLiteral("problem"),
                       QStringLiteral("summary")};
}

/** Whether there is such a time, of that form: "14:00", "2026-11-22 14:00:30.5". */
bool isTime(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(' '));
    return QTime::fromString(parts.last(), Qt::ISODate).isValid() &&
           (parts.size() == 1 || QDate::fromString(parts.first(), Qt::ISODate).isValid());
}

/** Which lines of a file are wanted. */
class Filter
{
public:
    /** Throws UsageError. */
    explicit Filter(const QCommandLineParser &parser)
        : m_command(parser.value(commandOption()).toUpper())
        , m_event(parser.value(eventOption()))
        , m_since(parser.value(sinceOption()))
    {
        static const QRegularExpression codes(QStringLiteral("\\A[0-9A-F]{2}/[0-9A-F]{2}\\z"));
        static const QRegularExpression moment(
            QStringLiteral("\\A(\\d{4}-\\d{2}-\\d{2} )?\\d{2}:\\d{2}(:\\d{2}(\\.\\d{1,3})?)?\\z"));
        if (parser.isSet(commandOption()) && !codes.match(m_command).hasMatch()) {
            throw tools::UsageError(QStringLiteral("--%1: command and sub-code such as F1/08 expected, not '%2'")
                                        .arg(commandOption(), parser.value(commandOption())));
        }
        if (parser.isSet(eventOption()) && !knownEvents().contains(m_event)) {
            throw tools::UsageError(QStringLiteral("--%1: there is no event '%2'").arg(eventOption(), m_event) +
                                    tools::suggestionFor(m_event, knownEvents()));
        }
        if (parser.isSet(sinceOption()) && !(moment.match(m_since).hasMatch() && isTime(m_since))) {
            throw tools::UsageError(
                QStringLiteral("--%1: a time such as 14:00 or \"2026-11-22 14:00:30\" expected, not '%2'")
                    .arg(sinceOption(), m_since));
        }
    }

    bool wants(const RecordingLine &line) const
    {
        return isSince(localTimeOf(line)) && (m_event.isEmpty() || line.event() == m_event) &&
               (m_command.isEmpty() || line.text("command", {}).toUpper() == m_command);
    }

    /** Every line of an error log is of a rejected reply. */
    bool wants(const Finding &finding) const
    {
        return isSince(finding.line.time) && (m_event.isEmpty() || m_event == eventName(host::EventKind::Rejected)) &&
               (m_command.isEmpty() || finding.codes().toUpper() == m_command);
    }

private:
    /** Times are written so that later ones come later in the alphabet too. */
    bool isSince(const QString &time) const
    {
        static const auto dateWidth = QStringLiteral("2026-11-22 ").size();
        const bool hasDate = m_since.contains(QLatin1Char('-'));
        return m_since.isEmpty() || (hasDate ? time : time.mid(dateWidth)) >= m_since;
    }

    QString m_command;
    QString m_event;
    QString m_since;
};

bool isRecordingLine(const QByteArray &line)
{
    return line.trimmed().startsWith('{') && line.contains("\"event\"");
}

void showLines(tools::InputFile &file, QByteArray line, const Filter &filter, QTextStream &out)
{
    do {
        try {
            const RecordingLine read(line, file.name(), file.lineNumber());
            if (filter.wants(read)) {
                out << lineText(read) << '\n';
            }
        } catch (const tools::InputError &) {
            if (file.isWholeLine()) {
                throw;
            }
            out << tools::shownText(file.place()) << ": the file was cut off in this line\n";
        }
    } while (file.next(&line));
}

void showLog(tools::InputFile &file, QByteArray line, const Filter &filter, QTextStream &out)
{
    LogReport report(out, false);
    report.setFilter([&filter](const Finding &finding) { return filter.wants(finding); });
    do {
        report.line(line, file.place(), file.isWholeLine());
    } while (file.next(&line));
    report.close();
}

/** Looks for the first line of an error log: those before it may be torn, or empty. */
bool findLog(tools::InputFile &file, QByteArray *line)
{
    constexpr int mostLines = 100;
    bool isFound = readErrorLogLine(*line).has_value();
    while (!isFound && file.lineNumber() < mostLines && file.next(line)) {
        isFound = readErrorLogLine(*line).has_value();
    }
    return isFound;
}

void show(const QString &path, const Filter &filter, QTextStream &out)
{
    tools::InputFile file(path);
    QByteArray line;
    if (!file.next(&line)) {
        throw tools::InputError(file.name(), QStringLiteral("a recording, the output of --json or an error log "
                                                            "expected, not an empty file"));
    }
    const QString begin = file.place();
    if (isRecordingLine(line)) {
        showLines(file, line, filter, out);
    } else if (findLog(file, &line)) {
        showLog(file, line, filter, out);
    } else {
        throw tools::InputError(begin,
                                QStringLiteral("a recording, the output of --json or an error log expected; sessions "
                                               "are played by 'biz_console run' and 'biz_console osd'"));
    }
}

} // namespace

int runShow(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Prints a recording, what --json printed or an error log as people read it, or a part of it."));
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The file; - for the standard input."),
                                 QStringLiteral("show FILE"));
    parser.addOption({commandOption(), QStringLiteral("Shows the lines of this command alone, such as F1/08."),
                      QStringLiteral("codes")});
    parser.addOption({eventOption(),
                      QStringLiteral("Shows the lines of this event alone. Events: %1.")
                          .arg(knownEvents().join(QStringLiteral(", "))),
                      QStringLiteral("event")});
    parser.addOption({sinceOption(),
                      QStringLiteral("Shows what happened from <time> on, such as 14:00 or \"2026-11-22 14:00:30\"; "
                                     "local time."),
                      QStringLiteral("time")});
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    show(onlyArgument(parser, QStringLiteral("the file")), Filter(parser), output.out);
    return AsExpected;
}

} // namespace biz::console
