#include <cstdlib>
#include <random>

#include "device_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

/** What a device of a schedule does with a command, in percent; the rest is an answer. */
struct DeviceTemper
{
    int silent = 40;
    int twice = 10;
    int foreign = 5;
    int remembered = 10; ///< answers an older command once more
    int garbage = 5;
    int breakDown = 1;
};

/**
 * One short life of a host: random calls, a random device, and a stop at a random moment.
 * The wait times are so short that give-ups and resends belong to it.
 */
class Schedule
{
public:
    Schedule(unsigned seed, biz_DeviceHost *host, FakeLink *link)
        : m_random(seed)
        , m_host(host)
        , m_link(link)
    {
        m_link->onCommand = [this](const model_Protocoldata &command) {
            answer(command);
        };
    }

    /** Gives commands and does what else comes to mind; returns the tickets. */
    std::vector<Ticket> run()
    {
        m_host->setSysPlan(chance(40) ? 1 : 0);
        std::vector<Ticket> tickets;
        const int before = number(0, 2);
        tickets.reserve(static_cast<std::size_t>(before));
        for (int i = 0; i < before; ++i) {
            tickets.push_back(give());
        }
        m_host->start();
        const int steps = number(1, 12);
        for (int step = 0; step < steps; ++step) {
            act(&tickets);
        }
        m_host->stop(chance(10) ? 0 : 1000);
        m_host->setSkipping(false);
        return tickets;
    }

private:
    int number(int from, int to) { return std::uniform_int_distribution<int>(from, to)(m_random); }
    bool chance(int percent) { return number(1, 100) <= percent; }

    Ticket give()
    {
        model_Protocoldata command;
        command.ucHead[1] = 0x68;
        command.ucHead[2] = 0x12;
        command.iWaitTime = chance(60) ? 15 : 45;
        return m_host->enqueue(command);
    }

    void act(std::vector<Ticket> *tickets)
    {
        const int what = number(1, 100);
        if (what <= 45) {
            tickets->push_back(give());
        } else if (what <= 80) {
            pass(number(0, 10));
        } else if (what <= 85) {
            pass(number(40, 80)); // long enough for a give-up
        } else if (what <= 92) {
            m_host->clear();
        } else if (what <= 97) {
            m_host->setSkipping(chance(50));
        } else {
            m_host->stop(chance(50) ? 0 : 1000);
            m_host->start();
        }
    }

    /** Lets some time pass: not to wait for anything, but to meet the loops at any moment. */
    static void pass(int milliseconds)
    {
        waitFor([] { return false; }, milliseconds);
    }

    void answer(const model_Protocoldata &command)
    {
        m_seen.push_back(command);
        const DeviceTemper temper;
        if (chance(temper.garbage)) {
            Q_EMIT m_link->received(QByteArray("garbage", 8)); // with the zero that ends it
        }
        if (chance(temper.remembered)) {
            m_link->reply(m_seen.at(static_cast<std::size_t>(number(0, static_cast<int>(m_seen.size()) - 1))));
        }
        if (chance(temper.foreign)) {
            model_Protocoldata foreign = command;
            foreign.ucHead[0] = static_cast<uchar>(number(0, 255));
            m_link->reply(foreign);
        }
        if (chance(temper.breakDown)) {
            m_link->breakDown(QStringLiteral("broken down"));
        }
        if (chance(temper.silent)) {
            return;
        }
        m_link->reply(command);
        if (chance(temper.twice)) {
            m_link->reply(command);
        }
    }

    std::mt19937 m_random;
    biz_DeviceHost *const m_host;
    FakeLink *const m_link;
    std::vector<model_Protocoldata> m_seen;
};

unsigned seedOfThisRun()
{
    const QByteArray given = qgetenv("BIZ_SCHEDULE_SEED");
    return given.isEmpty() ? std::random_device()() : given.toUInt();
}

class DeviceHostSchedules : public DeviceHostFixture
{
};

} // namespace

// BIZ_SCHEDULE_SEED repeats the decisions of a run; what the threads make of them differs.
TEST_F(DeviceHostSchedules, EveryTicketOfAThousandEndsExactlyOnce)
{
    const unsigned seed = seedOfThisRun();
    RecordProperty("seed", std::to_string(seed));
    std::cout << "BIZ_SCHEDULE_SEED=" << seed << std::endl;
    constexpr unsigned schedules = 1000;
    std::map<QString, int> outcomes;
    for (unsigned i = 0; i < schedules; ++i) {
        Schedule schedule(seed + i, host.get(), link);
        const std::vector<Ticket> tickets = schedule.run();
        ASSERT_TRUE(waitFor([&] { return seen.ends().size() == tickets.size(); })) << "schedule " << i;
        EXPECT_EQ(host->pending(), 0);
        EXPECT_EQ(host->waiting(), 0);
        given.insert(tickets.begin(), tickets.end());
        ASSERT_EQ(given.size(), tickets.size()) << "schedule " << i;
        expectOneEndEach();
        for (const Ticket ticket : tickets) {
            ++outcomes[seen.outcomeOf(ticket)];
        }
        ASSERT_FALSE(HasFailure()) << "schedule " << i;
        seen.forget();
        given.clear();
    }
    // The schedules are of use only while they meet every way to end.
    for (const QString &outcome : outcomeNames()) {
        EXPECT_GT(outcomes[outcome], 0) << outcome.toStdString();
        std::cout << outcome.toStdString() << ": " << outcomes[outcome] << std::endl;
    }
}
