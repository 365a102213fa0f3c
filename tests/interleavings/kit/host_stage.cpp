#include <interleavings/kit/host_stage.h>

#include <algorithm>

namespace biz::interleavings {

using host::Outcome;
using host::Ticket;

// --- For the script -----------------------------------------------------------------------

void HostStage::turn()
{
    while (m_eventLoop->processEvents()) {
    }
    point();
}

void HostStage::turns(int count)
{
    for (int done = 0; done < count; ++done) {
        turn();
    }
}

void HostStage::playToTheEnd()
{
    constexpr int rounds = 200;
    constexpr milliseconds round{1};

    for (int done = 0; done < rounds && !haveAllEnded(); ++done) {
        sleep(round);
        turn();
        answerWhatHasArrived();
    }
    require(haveAllEnded(), finding::noEnd);
}

// --- What the host tells ------------------------------------------------------------------

void HostStage::noteStart()
{
    m_started = std::chrono::duration_cast<milliseconds>(scheduler().now());
}

void HostStage::noteGiven(Ticket ticket, const QString &device, int waitMs, const QByteArray &payload)
{
    require(ticket != 0, "the host refuses a command");
    m_commands[ticket] = {device, waitMs, payload, 0, false};
}

void HostStage::noteSent(Ticket ticket, int attempt)
{
    Command &own = m_commands.at(ticket);
    require(!own.hasEnded, finding::sentAfterItsEnd);
    require(attempt == own.attempts + 1, finding::sentAgain);
    own.attempts = attempt;
    const bool isAlone = std::none_of(m_commands.begin(), m_commands.end(), [&](const auto &entry) {
        const Command &other = entry.second;
        return &other != &own && other.device == own.device && other.attempts > 0 && !other.hasEnded;
    });
    require(isAlone || !hasGate, finding::twoUnderWay);
}

void HostStage::noteEnd(Ticket ticket, Outcome outcome, const QByteArray &answer)
{
    Command &own = m_commands.at(ticket);
    require(!own.hasEnded, finding::secondEnd);
    own.hasEnded = true;
    require(outcome != Outcome::GaveUp || own.waitMs < longWaitOfHostMs, finding::givenUpEarly);
    require(outcome != Outcome::Answered || answer == own.payload, finding::wrongAnswer);
}

bool HostStage::haveAllEnded() const
{
    return std::all_of(m_commands.begin(), m_commands.end(), [](const auto &entry) { return entry.second.hasEnded; });
}

} // namespace biz::interleavings
