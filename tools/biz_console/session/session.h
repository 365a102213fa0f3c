#ifndef BIZ_CONSOLE_SESSION_H
#define BIZ_CONSOLE_SESSION_H

#include <algorithm>
#include <vector>

#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <biz_console/session/expectation.h>
#include <model/model_osdparam.h>
#include <model/model_protocoldata.h>

namespace biz::console {

constexpr int maxWaitMs = 3'600'000;
constexpr int defaultDeviceWaitMs = 500;

constexpr int stampedHeadBytes = 1; ///< byte 0 of a head, which the channel fills
constexpr int headBytes = 6;        ///< the bytes of a head that people write
constexpr int osdHeadBytes = 11;

constexpr int maxOsdCommands = 100'000; ///< of a session: they are given to the host at once

/** A command of a session, given to the channel `repeat` times. */
struct DeviceSessionCommand
{
    QString name;
    model_Protocoldata record;
    int repeat = 1;
    Expectation expected;
};

/** What `biz_console run` is to do. */
struct DeviceSession
{
    int deviceType = -1;
    bool isPipelined = false;
    QVector<DeviceSessionCommand> commands;
};

/** A command of an OSD session, given to every device `repeat` times. */
struct OsdSessionCommand
{
    QString name;
    model_OsdParam record; ///< without the address
    int repeat = 1;
    Expectation expected;
    QHash<QString, Expectation> expectedOf; ///< of those devices where it is another one
};

/** What `biz_console osd` is to do. */
struct OsdSession
{
    quint16 port = 0;
    QStringList devices;
    QSet<QString> silent; ///< devices whose commands are expected to be given up
    QVector<OsdSessionCommand> commands;
};

/** How long the most patient of the commands waits for its reply. */
template<typename Command>
int longestWaitOf(const QVector<Command> &commands)
{
    int longest = 0;
    for (const Command &command : commands) {
        longest = std::max(longest, command.record.iWaitTime);
    }
    return longest;
}

/** How the session calls each command. */
template<typename Command>
QStringList commandNamesOf(const QVector<Command> &commands)
{
    QStringList names;
    for (const Command &command : commands) {
        names.append(command.name);
    }
    return names;
}

/** How often each command is repeated. */
template<typename Command>
std::vector<int> repeatsOf(const QVector<Command> &commands)
{
    std::vector<int> repeats;
    for (const Command &command : commands) {
        repeats.push_back(command.repeat);
    }
    return repeats;
}

} // namespace biz::console

#endif
