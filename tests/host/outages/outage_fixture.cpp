#include "outage_fixture.h"

namespace biz::test {

using host::CommandOptions;
using host::LinkState;
using host::Outcome;
using host::Ticket;

OutageFixture::OutageFixture()
{
    m_traffic.setInterval(trafficPeriodMs);
    m_traffic.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_traffic, &QTimer::timeout, &m_traffic, [this] { give(); });
    seen.attach(host);
    seen.onSignal = [this](const DeviceHostRecorder::Event &event) {
        if (event.signal == QLatin1String("ended")) {
            noteEnd(event.ticket, event.result.outcome);
        }
    };
}

void OutageFixture::TearDown()
{
    endTraffic();
    EXPECT_TRUE(host.stop().clean());
    expectEndsAndForget();
    EXPECT_EQ(stale, std::vector<int>());
}

void OutageFixture::expectEndsAndForget()
{
    EXPECT_TRUE(waitForAllEnds());
    for (const auto &[number, ticket] : m_tickets) {
        const auto ends = seen.ends().find(ticket);
        ASSERT_NE(ends, seen.ends().end()) << "command " << number << " never ended";
        EXPECT_EQ(ends->second.size(), 1U) << "command " << number;
    }
    EXPECT_EQ(seen.ends().size(), m_tickets.size()) << "an unknown ticket ended";
    seen.forget();
    arrived.clear();
    m_tickets.clear();
    m_told.clear();
}

void OutageFixture::startUp(const QString &url)
{
    ASSERT_TRUE(host.setLink(QUrl(url))) << host.errorString().toStdString();
    startUp();
}

void OutageFixture::startUp()
{
    ASSERT_TRUE(host.start()) << host.errorString().toStdString();
    ASSERT_TRUE(waitForUps(1));
}

int OutageFixture::give(int wait, const CommandOptions &options)
{
    const int number = ++m_given;
    model_Protocoldata command = host::makeCommand(0x68, 0x12, QByteArray::number(number).leftJustified(payloadBytes));
    command.iWaitTime = wait;
    const Ticket ticket = seen.quietly([&] { return host.enqueue(command, options); });
    EXPECT_NE(ticket, 0U) << host.errorString().toStdString();
    m_tickets[number] = ticket;
    return number;
}

bool OutageFixture::waitForEnd(int number)
{
    return waitFor([&] { return seen.hasEnded(ticketOf(number)); });
}

bool OutageFixture::waitForAllEnds()
{
    return waitFor([this] { return seen.ends().size() >= m_tickets.size(); });
}

bool OutageFixture::waitForAnswers(int further)
{
    const int wanted = m_answers + further;
    return waitFor([&] { return m_answers >= wanted; });
}

void OutageFixture::runUntil(const QElapsedTimer &clock, int milliseconds)
{
    const int left = milliseconds - static_cast<int>(clock.elapsed());
    waitFor([&] { return clock.elapsed() >= milliseconds; }, left + patienceMs);
}

bool OutageFixture::waitForLosses(int count)
{
    return waitFor([&] { return losses() >= count; });
}

bool OutageFixture::waitForUps(int count)
{
    return waitFor([&] { return seen.count(LinkState::Up) >= count; });
}

void OutageFixture::noteArrival(const model_Protocoldata &command)
{
    const int number = command.baData.toInt();
    ASSERT_TRUE(number >= 1 && number <= m_given) << "the device got a command that nobody gave";
    arrived.push_back(number);
    const auto given = m_tickets.find(number);
    if (given == m_tickets.end() || m_told.count(given->second) != 0) {
        stale.push_back(number);
    }
}

void OutageFixture::noteEnd(Ticket ticket, Outcome outcome)
{
    if (beforeAnEndIsNoted) {
        beforeAnEndIsNoted();
    }
    m_told.insert(ticket);
    m_answers += outcome == Outcome::Answered ? 1 : 0;
}

} // namespace biz::test
