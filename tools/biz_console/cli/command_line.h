#ifndef BIZ_CONSOLE_COMMAND_LINE_H
#define BIZ_CONSOLE_COMMAND_LINE_H

#include <QtCore/QCommandLineParser>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <biz_console/cli/output.h>
#include <biz_console/run/exit_codes.h>
#include <common/errors.h>

namespace biz::console {

/** One of the console's commands: its arguments without the program and its own name. */
struct Command
{
    const char *name;
    const char *arguments;
    const char *purpose;
    int (*run)(const QStringList &arguments, const Output &output);
};

int runDevice(const QStringList &arguments, const Output &output);
int runSend(const QStringList &arguments, const Output &output);
int runOsd(const QStringList &arguments, const Output &output);
int runLog(const QStringList &arguments, const Output &output);
int runReplay(const QStringList &arguments, const Output &output);
int runCheck(const QStringList &arguments, const Output &output);
int runPorts(const QStringList &arguments, const Output &output);
int runRules(const QStringList &arguments, const Output &output);

void printVersion(QTextStream &out);

/** Parses the arguments of a command; false when it only had to print its help or the version. Throws UsageError. */
bool parse(QCommandLineParser &parser, const QStringList &arguments, const Output &output);

/** --trace. */
void addTraceOption(QCommandLineParser &parser);
void obeyTraceOption(const QCommandLineParser &parser);

/** --log-dir. What is named relative to the working directory must have been read before: it changes. */
void addLogDirOption(QCommandLineParser &parser);
void obeyLogDirOption(const QCommandLineParser &parser);

/** A number that an option was given, within bounds. Throws UsageError, which names the option. */
int numberOf(const QCommandLineParser &parser, const QString &option, int lowest, int highest);

/** The one positional argument that a command takes. */
QString onlyArgument(const QCommandLineParser &parser, const QString &what);

} // namespace biz::console

#endif
