#ifndef BIZ_SIMULATOR_FAULT_PLAN_H
#define BIZ_SIMULATOR_FAULT_PLAN_H

#include <optional>
#include <random>

#include <QtCore/QVector>

#include <biz_simulator/faults/fault_kind.h>

namespace biz::simulator {

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

/** What goes wrong with one command. */
struct Fault
{
    FaultKind kind = FaultKind::Silence;
    FaultMeasures measures;
    quint32 draw = 0; ///< decides what the kind leaves open, such as which bits are flipped
};

/**
 * Decides for one device, command by command, what goes wrong. The first script entry that
 * matches decides; otherwise the rates do, in their order.
 *
 * Every device draws from a generator of its own, so that what happens to it depends on the
 * seed and on its own commands alone, not on how the commands of many devices mix.
 */
class FaultPlan
{
public:
    /** The plan of an OSD device, or with an empty address of a device of the device channel. */
    explicit FaultPlan(const FaultSettings &settings, const QString &device = QString());

    /** Counts one received command and says what goes wrong with it; none: nothing. */
    std::optional<Fault> next(CommandCode code);

    /** How many commands have been received. */
    int receptions() const { return m_receptions; }

private:
    struct CountedEntry
    {
        ScriptEntry entry;
        int used = 0;
    };

    std::optional<Fault> scripted(CommandCode code);
    std::optional<Fault> drawn();
    FaultMeasures measuresOf(const ScriptEntry &entry) const;

    QVector<CountedEntry> m_script;
    QVector<FaultRate> m_rates;
    std::mt19937 m_generator;
    std::mt19937 m_detailGenerator;
    FaultMeasures m_measures;
    int m_receptions = 0;
};

} // namespace biz::simulator

#endif
