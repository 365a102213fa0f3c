#ifndef BIZ_SIMULATOR_OPTIONS_H
#define BIZ_SIMULATOR_OPTIONS_H

#include <optional>

#include <QtCore/QStringList>
#include <QtNetwork/QHostAddress>

#include <biz_cmdswork/reply_rules_p.h>
#include <biz_simulator/fault_plan.h>

namespace biz::simulator {

/** What the command line asks for. */
struct Options
{
    std::optional<rules::Model> model; ///< none: no TCP device
    QString modelName;
    QHostAddress bindAddress{QHostAddress::LocalHost};
    quint16 port = 0;

    int osdCount = 0; ///< 0: no OSD devices
    quint32 osdFirst = 0;
    quint16 osdPort = 0;

    FaultSettings faults;
    int delayMs = 0;
    bool events = false;
};

/** A command line read: options, or a text to print instead, or an error. */
struct CommandLine
{
    Options options;
    QString text;  ///< not empty: help or version, asked for
    QString error; ///< not empty: bad usage; what was wrong, and what was expected
};

/** `arguments` begins with the program's name. */
CommandLine readCommandLine(const QStringList &arguments);

} // namespace biz::simulator

#endif
