#ifndef BIZ_TESTKIT_FAULT_PLAN_P_H
#define BIZ_TESTKIT_FAULT_PLAN_P_H

#include <optional>
#include <random>

#include <QtCore/QQueue>
#include <QtCore/QVector>

#include <testkit/faults.h>

namespace biz::testkit {

/** What goes wrong with one command. */
struct Fault
{
    FaultKind kind = FaultKind::Silence;
    FaultMeasures measures;
    quint32 draw = 0; ///< decides what the kind leaves open, such as which bits are flipped
};

/**
 * Decides for one device, command by command, what goes wrong. A fault that failNext() has
 * asked for decides; otherwise the first script entry that matches; otherwise the rates, in
 * their order.
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

    /** One entry more, behind those of the script. */
    void add(const ScriptEntry &entry) { m_script.append({entry}); }

    /** Has so many commands more go wrong, behind those that are to do so already. */
    void failNext(FaultKind kind, int times);

    /** How many commands have been received. */
    int receptions() const { return m_receptions; }

private:
    struct CountedEntry
    {
        ScriptEntry entry;
        int used = 0;
    };

    void forgetSpent();
    std::optional<Fault> scripted(CommandCode code);
    std::optional<Fault> drawn();
    FaultMeasures measuresOf(const ScriptEntry &entry) const;

    QQueue<FaultKind> m_next; ///< of failNext(), a command each
    QVector<CountedEntry> m_script;
    QVector<FaultRate> m_rates;
    std::mt19937 m_generator;
    std::mt19937 m_detailGenerator;
    FaultMeasures m_measures;
    int m_receptions = 0;
};

} // namespace biz::testkit

#endif
