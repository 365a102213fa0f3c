#include <biz_simulator/fault_plan.h>

#include <QtNetwork/QHostAddress>

namespace biz::simulator {

namespace {

/** The generator of a device. Its numbers are the same on every platform. */
std::mt19937 generatorFor(quint32 seed, const QString &device)
{
    std::seed_seq sequence{seed, device.isEmpty() ? quint32{0} : QHostAddress(device).toIPv4Address()};
    return std::mt19937(sequence);
}

/** A number from 0 to just under 1. Scaled by hand: the standard's distributions differ by library. */
double fraction(std::mt19937 &generator)
{
    constexpr double range = 4294967296.0; // one more than the generator's largest number
    return static_cast<double>(generator()) / range;
}

} // namespace

FaultPlan::FaultPlan(const FaultSettings &settings, const QString &device)
    : m_rates(settings.rates)
    , m_generator(generatorFor(settings.seed, device))
    , m_lateByMs(settings.lateByMs)
{
    for (const ScriptEntry &entry : settings.script) {
        if (entry.device == device) {
            m_script.append({entry});
        }
    }
}

std::optional<Fault> FaultPlan::next(CommandCode code)
{
    ++m_receptions;
    // Drawn even when the script decides: an entry more must not change the rest of the run.
    const auto byChance = drawn();
    const auto byScript = scripted(code);
    return byScript ? byScript : byChance;
}

std::optional<Fault> FaultPlan::scripted(CommandCode code)
{
    for (CountedEntry &counted : m_script) {
        const ScriptEntry &entry = counted.entry;
        const bool matches =
            (!entry.reception || *entry.reception == m_receptions) && (!entry.code || *entry.code == code);
        if (matches && (entry.times == 0 || counted.used < entry.times)) {
            ++counted.used;
            return Fault{entry.fault, entry.lateByMs.value_or(m_lateByMs)};
        }
    }
    return std::nullopt;
}

std::optional<Fault> FaultPlan::drawn()
{
    std::optional<Fault> fault;
    for (const FaultRate &rate : m_rates) {
        if (fraction(m_generator) < rate.probability && !fault) {
            fault = Fault{rate.fault, m_lateByMs};
        }
    }
    return fault;
}

} // namespace biz::simulator
