#include "event_log_fixture.h"

namespace {

using namespace biz::host;
using namespace biz::test;

class DeviceEventsTest : public EventsOfDevice
{
protected:
    DeviceEventsTest()
    {
        events = eventsOf(host.get());
        QObject::connect(events.get(), &EventSource::happened, events.get(),
                         [this](const Event &event) { told.push_back(event); });
    }

    QStringList kinds(Ticket ticket) const
    {
        QStringList names;
        for (const Event &event : told) {
            if (event.ticket == ticket) {
                names.append(eventName(event.kind));
            }
        }
        return names;
    }

    /** The first of its kind. */
    Event find(EventKind kind) const
    {
        for (const Event &event : told) {
            if (event.kind == kind) {
                return event;
            }
        }
        ADD_FAILURE() << eventName(kind).toStdString() << " was not told";
        return {};
    }

    std::unique_ptr<EventSource> events;
    std::vector<Event> told;
};

TEST_F(DeviceEventsTest, FollowACommandFromItsGivingToItsEnd)
{
    answerEverything();
    start();

    const Ticket ticket = exchange();
    EXPECT_EQ(kinds(ticket), (QStringList{"given", "writing", "sent", "answered"}));
}

TEST_F(DeviceEventsTest, TellOfAWriteBeforeItHappens)
{
    bool wasTold = false;
    link->onCommand = [&](const model_Protocoldata &command) {
        wasTold = !told.empty() && told.back().kind == EventKind::Writing;
        link->reply(command);
    };
    start();

    exchange();
    EXPECT_TRUE(wasTold);
}

TEST_F(DeviceEventsTest, TellOfAResendAsASecondWrite)
{
    start();
    const Ticket ticket = enqueue(shortWaitMs);
    ASSERT_TRUE(waitForEnd(ticket));

    EXPECT_EQ(kinds(ticket), (QStringList{"given", "writing", "sent", "writing", "resent", "gaveUp"}));
}

TEST_F(DeviceEventsTest, NameACommandAsTheApplicationDid)
{
    answerEverything();
    start();
    CommandOptions options;
    options.id = QStringLiteral("7");

    const Ticket ticket = exchange(options);
    for (const Event &event : told) {
        EXPECT_EQ(event.id, event.ticket == ticket ? QStringLiteral("7") : QString())
            << eventName(event.kind).toStdString();
    }
}

TEST_F(DeviceEventsTest, NameItAfterItsEndToo)
{
    answerEverything();
    start();
    CommandOptions options;
    options.id = QStringLiteral("7");
    exchange(options);

    link->reply(link->commands.back());
    ASSERT_TRUE(waitFor([&] { return told.back().kind == EventKind::Duplicate; }));
    EXPECT_EQ(told.back().id, QStringLiteral("7"));
}

TEST_F(DeviceEventsTest, TellOfAReplyAfterTheEndWithTheTimeSince)
{
    start();
    const Ticket ticket = enqueue(command(shortWaitMs));
    ASSERT_TRUE(waitForEnd(ticket));

    link->reply(link->commands.back());
    ASSERT_TRUE(waitFor([&] { return told.back().kind == EventKind::Late; }));
    EXPECT_EQ(told.back().ticket, ticket);
    EXPECT_GE(told.back().afterEndMs.value_or(-1.0), 0.0);
}

TEST_F(DeviceEventsTest, TellOfBytesThatAreNoFrame)
{
    start();
    link->sendGarbage();

    ASSERT_TRUE(waitFor([&] { return told.back().kind == EventKind::Refused; }));
    EXPECT_GT(told.back().bytes.value_or(0), 0);
    EXPECT_FALSE(told.back().reason.isEmpty());
}

TEST_F(DeviceEventsTest, TellOfAReplyThatNobodyAskedFor)
{
    start();
    link->reply(command(longWaitMs));

    ASSERT_TRUE(waitFor([&] { return told.back().kind == EventKind::Foreign; }));
}

TEST_F(DeviceEventsTest, HaveTheReplyInTheEndOfAnAnsweredCommand)
{
    link->onCommand = [this](const model_Protocoldata &command) {
        model_Protocoldata reply = command;
        reply.baData = "reply";
        link->reply(reply);
    };
    start();

    exchange();
    EXPECT_EQ(find(EventKind::Answered).data, QByteArray("reply"));
    EXPECT_EQ(find(EventKind::Answered).codes, QStringLiteral("68/12"));
}

TEST_F(DeviceEventsTest, TellWhatBecomesOfTheLink)
{
    start();

    EXPECT_EQ(find(EventKind::LinkStateChanged).link->state, LinkState::Connecting);
    EXPECT_EQ(told.back().link->state, LinkState::Up);
}

TEST_F(DeviceEventsTest, EndWithTheirHost)
{
    start();
    host.reset();

    EXPECT_TRUE(events->state().isEmpty());
    EXPECT_TRUE(events->headLines().contains("\"device\""));
    events.reset();
}

TEST_F(DeviceEventsTest, SayWhyTheLinkIsLost)
{
    start();
    link->breakDown(QStringLiteral("unplugged"));
    ASSERT_TRUE(waitFor([this] { return told.back().link && told.back().link->state == LinkState::Lost; }));

    EXPECT_TRUE(events->state().value("reason").toString().contains(QStringLiteral("unplugged")));
}

TEST_F(DeviceEventsTest, LeaveTheHostAloneWhenTheyAreGone)
{
    answerEverything();
    start();
    events.reset();

    exchange();
}

TEST_F(DeviceEventsTest, SayHowThingsStand)
{
    start();
    occupy();
    enqueue();

    const QJsonObject state = events->state();
    EXPECT_EQ(state.value("state").toString(), QStringLiteral("up"));
    EXPECT_EQ(state.value("pending").toInt(), 2);
    EXPECT_EQ(state.value("counters").toObject().value("enqueued").toInt(), 2);
}

} // namespace
