#include <QtCore/QPointer>

#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

enum class Way { Stop, StopAndStart, DeleteLater, Delete };

struct FromSlot
{
    const char *signal;
    Way way;
};

std::ostream &operator<<(std::ostream &out, const FromSlot &value)
{
    return out << value.signal << "/" << static_cast<int>(value.way);
}

std::string nameOf(const testing::TestParamInfo<FromSlot> &info)
{
    static const char *const ways[] = {"Stop", "StopAndStart", "DeleteLater", "Delete"};
    return std::string(info.param.signal) + "_" + ways[static_cast<int>(info.param.way)];
}

std::vector<FromSlot> everySignalEveryWay()
{
    std::vector<FromSlot> all;
    for (const char *signal :
         {"started", "sent", "ended", "late", "duplicate", "foreign", "refused", "received", "socketError"}) {
        for (const Way way : {Way::Stop, Way::StopAndStart, Way::DeleteLater, Way::Delete}) {
            all.push_back({signal, way});
        }
    }
    return all;
}

class OsdFromSlots : public OsdHostFixture, public testing::WithParamInterface<FromSlot>
{
protected:
    /** No whole second: given up at the channel's next look, written or not. */
    static constexpr int soonGivenUpWaitMs = 500;

    /** Makes every signal happen, time and again, as long as the host runs. */
    void makeEverythingHappen()
    {
        PlayedDevice &talker = device(1);
        PlayedDevice &silent = device(2);
        PlayedDevice &stranger = device(3);
        silent.answers = false;
        ASSERT_TRUE(host->setLocalAddress("127.0.0.1"));
        const Ticket first = enqueue(silent, soonGivenUpWaitMs);
        enqueue(command("::1", endlessWaitMs)); // no way there from an IPv4 address
        QObject::connect(&m_pulse, &QTimer::timeout, [this, first, &talker, &silent, &stranger] {
            if (!host || m_done) {
                return;
            }
            if (!talker.commands.empty() && outcomeOf(first) != "none") {
                stranger.learnHostFrom(talker);
                stranger.reply({});
                talker.reply({});
                talker.send("garbage");
                silent.learnHostFrom(talker);
                silent.reply({});
            }
            if (talker.commands.empty() && given.size() < 4) {
                enqueue(talker);
            }
        });
        constexpr int pulseMs = 50;
        m_pulse.start(pulseMs);
    }

    void act()
    {
        m_done = true;
        m_pulse.stop();
        switch (GetParam().way) {
        case Way::Stop:
            EXPECT_TRUE(host->stop().clean());
            break;
        case Way::StopAndStart:
            EXPECT_TRUE(host->stop().clean());
            EXPECT_TRUE(host->start());
            break;
        case Way::DeleteLater:
            host.release()->deleteLater();
            break;
        case Way::Delete:
            host.reset();
            break;
        }
    }

    bool m_done = false;
    QTimer m_pulse;
};

} // namespace

TEST_P(OsdFromSlots, IsSafe)
{
    const QPointer<OsdHost> alive(host.get());
    onSignal = [this](const Event &event) {
        if (!m_done && event.signal == GetParam().signal) {
            act();
        }
    };
    makeEverythingHappen();
    ASSERT_TRUE(host->start());
    ASSERT_TRUE(waitFor([&] { return m_done; })) << "the signal never came";
    if (GetParam().way == Way::Delete || GetParam().way == Way::DeleteLater) {
        EXPECT_TRUE(waitFor([&] { return alive.isNull(); }));
        for (const auto &end : ends) {
            EXPECT_EQ(end.second.size(), 1U);
        }
        given.clear();
        ends.clear();
    }
}

INSTANTIATE_TEST_SUITE_P(Every, OsdFromSlots, testing::ValuesIn(everySignalEveryWay()), nameOf);
