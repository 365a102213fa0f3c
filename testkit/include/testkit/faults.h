#ifndef BIZ_TESTKIT_FAULTS_H
#define BIZ_TESTKIT_FAULTS_H

#include <optional>

#include <QtCore/QString>
#include <QtCore/QVector>

#include <testkit/fault_kind.h>

/** What goes wrong with the commands of simulated devices, and when. */
namespace biz::testkit {

/** The two bytes by which rules and scripts name a command. */
struct CommandCode
{
    quint8 command = 0;
    quint8 subCode = 0;

    bool operator==(const CommandCode &other) const { return command == other.command && subCode == other.subCode; }
};

/** How much of a fault there is, where it has a measure. */
struct FaultMeasures
{
    int lateByMs = 1000;    ///< FaultKind::Late: from the command to its reply
    int vanishForMs = 2000; ///< FaultKind::Vanish: from the command until the device listens again
    int burstSize = 50;     ///< FaultKind::Burst: replies that nobody asked for
    int outageForMs = 2000; ///< FaultKind::Stall, FaultKind::Blackout: until the device reads, or answers, again
};

/** One line of a script: which commands go wrong, and how. What is not set matches all. */
struct ScriptEntry
{
    QString device;                  ///< an OSD device's address; empty: a device of the device channel
    std::optional<int> reception;    ///< the n-th command that the device receives, from 1
    std::optional<CommandCode> code; ///< commands of this code, on the device channel
    int times = 0;                   ///< how often the entry may act; 0: always
    FaultKind fault = FaultKind::Silence;
    std::optional<int> lateByMs; ///< this and the next three: in place of the common measure
    std::optional<int> vanishForMs;
    std::optional<int> burstSize;
    std::optional<int> outageForMs;
};

/** A fault that strikes each command with a probability. */
struct FaultRate
{
    FaultKind fault = FaultKind::Silence;
    double probability = 0.0;
};

/** All faults of a device, or of a group of OSD devices. */
struct FaultSettings
{
    QVector<ScriptEntry> script;
    QVector<FaultRate> rates;
    quint32 seed = 1;
    quint32 stream = 0; ///< tells devices of one seed apart; OSD devices have their addresses for it
    FaultMeasures measures;
};

} // namespace biz::testkit

#endif
