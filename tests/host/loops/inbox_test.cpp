#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include <host/support/wait_for.h>
#include <loops/inbox_p.h>
#include <loops/reported_p.h>

using namespace biz::host;
using namespace biz::test;

TEST(Inbox, MessagesOfAnotherThreadComeInOrder)
{
    constexpr int messages = 1000;
    Inbox<int> inbox;
    std::vector<int> taken;
    InboxReceiver receiver(
        [&] {
            for (const int message : inbox.takeAll()) {
                taken.push_back(message);
            }
        },
        nullptr);
    inbox.attach(&receiver);
    std::thread sender([&] {
        for (int i = 0; i < messages; ++i) {
            EXPECT_TRUE(inbox.push(i));
        }
    });
    EXPECT_TRUE(waitFor([&] { return taken.size() == messages; }));
    sender.join();
    for (int i = 0; i < messages; ++i) {
        ASSERT_EQ(taken.at(static_cast<std::size_t>(i)), i);
    }
    inbox.detach();
}

TEST(Inbox, WithoutAReceiverItRefusesWhatComes)
{
    int calls = 0;
    Inbox<int> inbox;
    EXPECT_FALSE(inbox.push(1));
    auto receiver = std::make_unique<InboxReceiver>([&] { ++calls; }, nullptr);
    inbox.attach(receiver.get());
    EXPECT_TRUE(inbox.push(2));
    EXPECT_EQ(inbox.detach(), std::vector<int>{2});
    receiver.reset();
    EXPECT_FALSE(inbox.push(3));
    QCoreApplication::processEvents();
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(inbox.takeAll().empty());
}

TEST(Inbox, TheNextReceiverHearsOfNothingThatCameBeforeIt)
{
    int calls = 0;
    Inbox<int> inbox;
    InboxReceiver former([] {}, nullptr);
    InboxReceiver next([&] { ++calls; }, nullptr);
    inbox.attach(&former);
    EXPECT_TRUE(inbox.push(1));
    inbox.detach();
    inbox.attach(&next);
    EXPECT_TRUE(inbox.push(2));
    ASSERT_TRUE(waitFor([&] { return calls == 1; }));
    EXPECT_EQ(inbox.takeAll(), std::vector<int>{2});
    inbox.detach();
}

TEST(Reported, WhatIsBehindAMessageWhoseHandlingThrowsIsHandledByTheNextEvent)
{
    Inbox<int> inbox;
    Reported<int> reported(&inbox);
    std::vector<int> handled;
    const auto handle = [&](int message) {
        if (message == 2) {
            throw std::runtime_error("a codec");
        }
        handled.push_back(message);
    };
    int events = 0;
    InboxReceiver receiver(
        [&] {
            ++events;
            reported.handleAll(handle);
        },
        nullptr);
    inbox.attach(&receiver);
    for (const int message : {1, 2, 3, 4}) {
        EXPECT_TRUE(inbox.push(message));
    }
    EXPECT_THROW(reported.handleAll(handle), std::runtime_error);
    EXPECT_EQ(handled, std::vector<int>{1});
    ASSERT_TRUE(waitFor([&] { return handled.size() == 3; }));
    EXPECT_EQ(handled, (std::vector<int>{1, 3, 4}));
    EXPECT_GE(events, 1);
}
