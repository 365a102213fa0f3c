#include <host/support/from_slot.h>

#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdFromSlots : public FromSlotTest<OsdHostFixture>
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
        constexpr int periodMs = 50;
        keepDoing(periodMs, [this, first, &talker, &silent, &stranger] {
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
    }
};

} // namespace

TEST_P(OsdFromSlots, IsSafe)
{
    onSignal = [this](const Event &event) {
        hear(event.signal);
    };
    makeEverythingHappen();
    startAndWaitForTheSlot();
    if (deletesTheHost()) {
        for (const auto &end : ends) {
            EXPECT_EQ(end.second.size(), 1U);
        }
        given.clear();
        ends.clear();
    }
}

INSTANTIATE_TEST_SUITE_P(Every, OsdFromSlots,
                         testing::Combine(testing::Values("started", "sent", "ended", "late", "duplicate", "foreign",
                                                          "refused", "received", "socketError"),
                                          testing::Values(Way::Stop, Way::StopAndStart, Way::DeleteLater, Way::Delete)),
                         nameOf);
