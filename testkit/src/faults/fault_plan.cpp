#include <faults/fault_plan_p.h>

#include <algorithm>

#include <QtNetwork/QHostAddress>

namespace biz::testkit {

namespace {

/** The generator of a device. Its numbers are the same on every platform. */
template<typename... Number>
std::mt19937 generatorFor(const FaultSettings &settings, const QString &device, Number... purpose)
{
    const quint32 stream = device.isEmpty() ? settings.stream : QHostAddress(device).toIPv4Address();
    std::seed_seq sequence{settings.seed, stream, purpose...};
    return std::mt19937(sequence);
}

constexpr quint32 forDetails = 1;

/** A number from 0 to just under 1. Scaled by hand: the standard's distributions differ by library. */
double fraction(std::mt19937 &generator)
{
    constexpr double range = 4294967296.0; // one more than the generator's largest number
    return static_cast<double>(generator()) / range;
}

} // namespace

FaultPlan::FaultPlan(const FaultSettings &settings, const QString &device)
    : m_rates(settings.rates)
    , m_generator(generatorFor(settings, device))
    , m_detailGenerator(generatorFor(settings, device, forDetails))
    , m_measures(settings.measures)
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
    forgetSpent();
    // Drawn even when the script decides: an entry more must not change the rest of the run.
    const auto byChance = drawn();
    const auto byScript = scripted(code);
    const auto draw = static_cast<quint32>(m_detailGenerator());
    auto fault = byScript ? byScript : byChance;
    if (fault) {
        fault->draw = draw;
    }
    return fault;
}

void FaultPlan::failNext(FaultKind kind, int times)
{
    for (int i = 0; i < times; ++i) {
        m_next.enqueue(kind);
    }
}

/** What cannot act any more is not looked at with each command of a run of many hours. */
void FaultPlan::forgetSpent()
{
    const auto isSpent = [this](const CountedEntry &counted) {
        const ScriptEntry &entry = counted.entry;
        return (entry.reception && *entry.reception < m_receptions) ||
               (entry.times != 0 && counted.used >= entry.times);
    };
    m_script.erase(std::remove_if(m_script.begin(), m_script.end(), isSpent), m_script.end());
}

std::optional<Fault> FaultPlan::scripted(CommandCode code)
{
    if (!m_next.isEmpty()) {
        return Fault{m_next.dequeue(), m_measures};
    }
    for (CountedEntry &counted : m_script) {
        const ScriptEntry &entry = counted.entry;
        const bool matches =
            (!entry.reception || *entry.reception == m_receptions) && (!entry.code || *entry.code == code);
        if (matches) {
            ++counted.used;
            return Fault{entry.fault, measuresOf(entry)};
        }
    }
    return std::nullopt;
}

FaultMeasures FaultPlan::measuresOf(const ScriptEntry &entry) const
{
    return {entry.lateByMs.value_or(m_measures.lateByMs), entry.vanishForMs.value_or(m_measures.vanishForMs),
            entry.burstSize.value_or(m_measures.burstSize), entry.outageForMs.value_or(m_measures.outageForMs)};
}

std::optional<Fault> FaultPlan::drawn()
{
    std::optional<Fault> fault;
    for (const FaultRate &rate : qAsConst(m_rates)) {
        if (fraction(m_generator) < rate.probability && !fault) {
            fault = Fault{rate.fault, m_measures};
        }
    }
    return fault;
}

} // namespace biz::testkit
