#ifndef BIZ_SIMULATOR_OPTIONS_H
#define BIZ_SIMULATOR_OPTIONS_H

#include <QtCore/QStringList>

#include <biz_simulator/devices/settings.h>

namespace biz::simulator {

/** What the command line asks for. */
struct Options
{
    Settings settings;
    bool events = false;
};

/** A command line read: options, or a text to print instead. */
struct CommandLine
{
    Options options;
    QString text; ///< not empty: help or version, asked for
};

/**
 * `arguments` begins with the program's name. Throws tools::UsageError, or tools::InputError for a file: what was
 * wrong, and what was expected.
 */
CommandLine readCommandLine(const QStringList &arguments);

} // namespace biz::simulator

#endif
