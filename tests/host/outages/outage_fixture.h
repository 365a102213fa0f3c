#ifndef BIZ_TESTS_HOST_OUTAGES_OUTAGE_FIXTURE_H
#define BIZ_TESTS_HOST_OUTAGES_OUTAGE_FIXTURE_H

#include <map>
#include <set>
#include <vector>

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>

#include <gtest/gtest.h>

#include <host/device/device_host_recorder.h>
#include <host/support/wait_for.h>
#include <support/scratch_folder.h>

namespace biz::test {

/**
 * A device host whose line fails. Each command carries a number as its payload, so that the device can tell
 * which one it gets. At the end each command must have ended once, and none that the application had been
 * told ended may have reached the device afterwards.
 */
class OutageFixture : public ::testing::Test
{
protected:
    static constexpr int waitMs = 400;
    static constexpr int longWaitMs = 20000; ///< for commands that are not to time out

    /** While the line fails, commands are given as often as this. */
    static constexpr int trafficPeriodMs = 100;

    /** The longest in which a silent device is noticed: twice the wait of its commands is less than a second. */
    static constexpr int silenceToldMs = 1000 + 500;

    /** The longest from the line's return to the first answer: the interval with its jitter, and a second. */
    static constexpr int firstAnswerMs = 1100 + 1000;

    OutageFixture();
    void TearDown() override;

    void startUp(const QString &url);
    void startUp();

    /** Gives a command; returns its number. */
    int give(int wait = waitMs, const host::CommandOptions &options = {});
    host::Ticket ticketOf(int number) const { return m_tickets.at(number); }
    QString outcomeOf(int number) const { return seen.outcomeOf(ticketOf(number)); }
    bool waitForEnd(int number);
    bool waitForAllEnds();

    /** Each command so far must have ended, once. They are forgotten, so that a long run needs no more memory. */
    void expectEndsAndForget();

    void beginTraffic() { m_traffic.start(); }
    void endTraffic() { m_traffic.stop(); }

    int answers() const { return m_answers; }
    bool waitForAnswers(int further);

    /** Runs the event loop until the clock has got there. */
    static void runUntil(const QElapsedTimer &clock, int milliseconds);

    int losses() const { return seen.count(host::LinkState::Lost); }
    bool waitForLosses(int count);
    bool waitForUps(int count);
    bool isUp() const { return host.linkStatus().state == host::LinkState::Up; }

    /** The device has got a command: notes it, and whether the application had been told its end. */
    void noteArrival(const model_Protocoldata &command);

    host::DeviceHost host;
    DeviceHostRecorder seen;
    int payloadBytes = 0;     ///< commands are made as long as this
    std::vector<int> arrived; ///< the numbers of the commands that the device got
    std::vector<int> stale;   ///< of them, those whose end had been told before
    std::function<void()> beforeAnEndIsNoted;

private:
    void noteEnd(host::Ticket ticket, host::Outcome outcome);

    const ScratchFolder m_folder;
    QTimer m_traffic;
    int m_given = 0;
    std::map<int, host::Ticket> m_tickets; ///< of the commands that are not forgotten
    std::set<host::Ticket> m_told;
    int m_answers = 0;
};

} // namespace biz::test

#endif
