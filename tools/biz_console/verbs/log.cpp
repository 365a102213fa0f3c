#include <biz_console/verbs/verbs.h>

#include <exception>
#include <memory>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QTimer>

#include <biz_console/cli/command_line.h>
#include <biz_console/replies/error_log_file.h>
#include <biz_console/replies/log_report.h>
#include <biz_console/summary/text_output.h>
#include <common/files/followed_file.h>
#include <common/shown_text.h>
#include <common/stop_signals.h>

namespace biz::console {

namespace {

/** As soon as people would notice. */
constexpr int followPeriodMs = 200;

/** A file that never ends is not to keep the console from hearing of a signal. */
constexpr int linesAtOnce = 100000;

/**
 * Prints what comes, until it is interrupted, or nobody can read it any more. Without a file it is today's log, of
 * which there is another one from midnight on.
 */
void follow(const QString &givenFile, LogReport &report, const Output &output)
{
    const QString folder = QDir::currentPath();
    const auto pathNow = [&] {
        return givenFile.isEmpty() ? errorLogOfToday(folder) : givenFile;
    };
    auto log = std::make_unique<tools::FollowedFile>(pathNow());
    const auto tellNew = [&] {
        QByteArray line;
        for (int i = 0; i < linesAtOnce && log->next(&line); ++i) {
            report.line(line, log->place(), log->isWholeLine());
        }
    };
    const auto readOn = [&] {
        const QString path = pathNow(); // before yesterday's log is read for the last time
        tellNew();
        if (log->path() != path) {
            log->giveUpRest();
            tellNew();
            log = std::make_unique<tools::FollowedFile>(path);
            tellNew();
        }
        report.flush();
    };
    const tools::StopSignals signals;
    QObject::connect(&signals, &tools::StopSignals::stopRequested, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    QTimer timer;
    std::exception_ptr failure; // which must not leave through the event loop
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
        try {
            readOn();
            if (hasFailed(output.out)) {
                QCoreApplication::quit();
            }
        } catch (const tools::InputError &) {
            failure = std::current_exception();
            QCoreApplication::quit();
        }
    });
    readOn();
    if (!log->isThere()) {
        output.err << "biz_console: " << tools::shownText(log->path()) << ": not there yet\n";
        output.err.flush();
    }
    timer.start(followPeriodMs);
    QCoreApplication::exec();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

/** A file that cannot be read does not keep the console from the others. */
ExitCode readAll(const QStringList &files, LogReport &report, QTextStream &err)
{
    ExitCode status = AsExpected;
    for (const QString &file : files) {
        try {
            report.read(file);
        } catch (const tools::InputError &error) {
            err << "biz_console: " << error.text() << '\n';
            status = BadInput;
        }
    }
    if (status == AsExpected || report.hasUnderstood()) {
        report.close();
    }
    return status;
}

} // namespace

int runLog(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Reads error logs back: which reply was rejected, and which rule it broke."));
    parser.addPositionalArgument(
        QStringLiteral("file"),
        QStringLiteral("Error logs, - for the standard input; today's below the working directory by default."),
        QStringLiteral("log [FILE...]"));
    const QString jsonOption = QStringLiteral("json");
    parser.addOption({jsonOption, QStringLiteral("Prints one JSON object for each rejected reply, and a summary.")});
    const QString followOption = QStringLiteral("follow");
    parser.addOption(
        {followOption, QStringLiteral("Waits for more, until it is interrupted; the log may not be there yet.")});
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    QStringList files = parser.positionalArguments();
    if (parser.isSet(followOption)) {
        if (files.size() > 1 || files.value(0) == QLatin1String("-")) {
            throw tools::UsageError(
                QStringLiteral("--%1: one file, or none for today's log, expected").arg(followOption));
        }
        LogReport report(output.out, parser.isSet(jsonOption));
        follow(files.value(0), report, output);
        report.close();
        return AsExpected;
    }
    if (files.isEmpty()) {
        files.append(errorLogOfToday(QDir::currentPath()));
    }
    LogReport report(output.out, parser.isSet(jsonOption));
    return readAll(files, report, output.err);
}

} // namespace biz::console
