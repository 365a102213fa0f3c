#ifndef BIZ_CONSOLE_COMMAND_LINE_H
#define BIZ_CONSOLE_COMMAND_LINE_H

#include <initializer_list>

#include <QtCore/QCommandLineParser>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <biz_console/cli/output.h>
#include <biz_console/verdict/exit_codes.h>
#include <common/errors.h>

namespace biz::console {

void printVersion(QTextStream &out);

/** Parses the arguments of a command; false when it only had to print its help or the version. Throws UsageError. */
bool parse(QCommandLineParser &parser, const QStringList &arguments, const Output &output);

/** --trace. */
void addTraceOption(QCommandLineParser &parser);
void obeyTraceOption(const QCommandLineParser &parser);

/** --log-dir. What is named relative to the working directory must have been read before: it changes. */
QString logDirOption();
void addLogDirOption(QCommandLineParser &parser);
void obeyLogDirOption(const QCommandLineParser &parser);

/** A number that an option was given, within bounds. Throws UsageError, which names the option. */
int numberOf(const QCommandLineParser &parser, const QString &option, int lowest, int highest);

/** Throws UsageError for options that would silently do nothing: `why` goes on behind their name. */
void refuseOptions(const QCommandLineParser &parser, std::initializer_list<QString> options, const char *why);

/** The one positional argument that a command takes. */
QString onlyArgument(const QCommandLineParser &parser, const QString &what);

} // namespace biz::console

#endif
