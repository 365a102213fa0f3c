#include <memory>
#include <stdexcept>

#include <QtCore/QEventLoop>

#include <gtest/gtest.h>

#include <host/support/wait_for.h>
#include <loops/outbox_p.h>

using namespace biz::host;
using namespace biz::test;

namespace {

/** So many ends, of which nothing but their telling is known. */
class CountedEnds : public PendingEnds
{
public:
    explicit CountedEnds(int count)
        : m_left(count)
    {
    }

    int told = 0;
    int callbacksTold = 0;

    bool isEmpty() const override { return m_left == 0; }
    bool tellNextCallback() override { return false; }
    std::function<void()> takeNext() override
    {
        --m_left;
        return [this] {
            ++told;
        };
    }
    void tellCallbacks() override { callbacksTold += std::exchange(m_left, 0); }

private:
    int m_left;
};

} // namespace

TEST(Outbox, EmissionsLeaveFromTheEventLoopInOrder)
{
    Outbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.post([&] { emitted.push_back(1); });
    outbox.post([&] { emitted.push_back(2); });
    EXPECT_TRUE(emitted.empty());
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 2; }));
    EXPECT_EQ(emitted, (std::vector<int>{1, 2}));
}

TEST(Outbox, WhatAnEmissionPostsLeavesAfterIt)
{
    Outbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.post([&] {
        outbox.post([&] { emitted.push_back(3); });
        emitted.push_back(1);
    });
    outbox.post([&] { emitted.push_back(2); });
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 3; }));
    EXPECT_EQ(emitted, (std::vector<int>{1, 2, 3}));
}

TEST(Outbox, AnEmissionMayDestroyTheOutbox)
{
    auto outbox = std::make_unique<Outbox>(nullptr);
    bool later = false;
    outbox->post([&] { outbox.reset(); });
    outbox->post([&] { later = true; });
    ASSERT_TRUE(waitFor([&] { return outbox == nullptr; }));
    QCoreApplication::processEvents();
    EXPECT_FALSE(later);
}

TEST(Outbox, ASlotsOwnEventLoopGetsTheEmissionsThatFollow)
{
    Outbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.post([&] {
        EXPECT_TRUE(waitFor([&] { return emitted.size() == 2; }));
        emitted.push_back(1);
    });
    outbox.post([&] { emitted.push_back(2); });
    outbox.post([&] { emitted.push_back(3); });
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 3; }));
    EXPECT_EQ(emitted, (std::vector<int>{2, 3, 1}));
}

TEST(Outbox, ASlotsOwnEventLoopGetsWhatHadBeenPostedBeforeItBegan)
{
    Outbox outbox(nullptr);
    QEventLoop loop;
    bool hasRun = false;
    bool isInside = false;
    // This event runs the slot; the outbox's own event stands behind it, and is the one that the loop has to see.
    QMetaObject::invokeMethod(
        &loop, [&] { outbox.emitAfter([] {}); }, Qt::QueuedConnection);
    outbox.post([&] {
        constexpr int limitMs = 2000;
        QTimer::singleShot(limitMs, &loop, &QEventLoop::quit);
        loop.exec();
    });
    outbox.post([&] {
        hasRun = true;
        isInside = loop.isRunning();
        loop.quit();
    });
    ASSERT_TRUE(waitFor([&] { return hasRun; }));
    EXPECT_TRUE(isInside);
}

TEST(Outbox, ASlotThatLooksForEventsAndDoesNotWaitGetsTheEmissionsThatFollow)
{
    Outbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.post([&] {
        QCoreApplication::processEvents();
        emitted.push_back(1);
    });
    outbox.post([&] { emitted.push_back(2); });
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 2; }));
    EXPECT_EQ(emitted, (std::vector<int>{2, 1}));
}

TEST(Outbox, OneEndLeavesPerEventWithTurnsForOthersBetween)
{
    constexpr int count = 100;
    Outbox outbox(nullptr);
    const auto ends = std::make_shared<CountedEnds>(count);
    QObject other;
    int turns = 0;
    const std::function<void()> takeTurn = [&] {
        ++turns;
        if (ends->told < count) {
            QMetaObject::invokeMethod(&other, takeTurn, Qt::QueuedConnection);
        }
    };
    outbox.post(ends);
    takeTurn();
    ASSERT_TRUE(waitFor([&] { return ends->told == count; }));
    EXPECT_GE(turns, count);
}

TEST(Outbox, EndsThatWerePostedApartLeaveOnePerEventToo)
{
    Outbox outbox(nullptr);
    const auto first = std::make_shared<CountedEnds>(1);
    const auto second = std::make_shared<CountedEnds>(1);
    QObject other;
    int toldBefore = -1;
    outbox.post(first);
    outbox.post(second);
    QMetaObject::invokeMethod(
        &other, [&] { toldBefore = first->told + second->told; }, Qt::QueuedConnection);
    ASSERT_TRUE(waitFor([&] { return second->told == 1; }));
    EXPECT_EQ(toldBefore, 1);
}

TEST(Outbox, EmissionsAndEndsLeaveInTheOrderPosted)
{
    Outbox outbox(nullptr);
    const auto ends = std::make_shared<CountedEnds>(3);
    int toldBefore = -1;
    int toldAfter = -1;
    outbox.post([&] { toldBefore = ends->told; });
    outbox.post(ends);
    outbox.post([&] { toldAfter = ends->told; });
    ASSERT_TRUE(waitFor([&] { return toldAfter >= 0; }));
    EXPECT_EQ(toldBefore, 0);
    EXPECT_EQ(toldAfter, 3);
}

TEST(Outbox, AtItsEndCallbacksAreToldAndNobodyElse)
{
    Outbox outbox(nullptr);
    const auto ends = std::make_shared<CountedEnds>(3);
    bool wasEmitted = false;
    outbox.post([&] { wasEmitted = true; });
    outbox.post(ends);
    outbox.tellCallbacks();
    QCoreApplication::processEvents();
    EXPECT_EQ(ends->callbacksTold, 3);
    EXPECT_EQ(ends->told, 0);
    EXPECT_FALSE(wasEmitted);
}

TEST(Outbox, WhatAnEventPostsLeavesAtItsEndAndNotEarlier)
{
    Outbox outbox(nullptr);
    std::vector<int> emitted;
    outbox.emitAfter([&] {
        outbox.post([&] { emitted.push_back(1); });
        outbox.post([&] { emitted.push_back(2); });
        EXPECT_TRUE(emitted.empty());
    });
    EXPECT_EQ(emitted, (std::vector<int>{1, 2}));
    outbox.post([&] { emitted.push_back(3); });
    EXPECT_EQ(emitted.size(), 2U);
    ASSERT_TRUE(waitFor([&] { return emitted.size() == 3; }));
}

TEST(Outbox, AnEmissionAtTheEndOfAnEventMayDestroyTheOutbox)
{
    auto outbox = std::make_unique<Outbox>(nullptr);
    bool later = false;
    outbox->emitAfter([&] {
        outbox->post([&] { outbox.reset(); });
        outbox->post([&] { later = true; });
    });
    EXPECT_EQ(outbox, nullptr);
    EXPECT_FALSE(later);
}

TEST(Outbox, AnEmissionThatThrowsHarmsNoneThatFollows)
{
    Outbox outbox(nullptr);
    bool hasFollowed = false;
    outbox.post([] { throw std::runtime_error("a slot"); });
    outbox.post([&] { hasFollowed = true; });
    // By hand: an exception does not pass through every event loop.
    QEvent wake(QEvent::User);
    EXPECT_THROW(QCoreApplication::sendEvent(&outbox, &wake), std::runtime_error);
    EXPECT_TRUE(waitFor([&] { return hasFollowed; }));
}

TEST(Outbox, WhatWasPostedBeforeAThrowLeavesLater)
{
    Outbox outbox(nullptr);
    bool hasLeft = false;
    const auto handle = [&] {
        outbox.post([&] { hasLeft = true; });
        throw std::runtime_error("a codec");
    };
    EXPECT_THROW(outbox.emitAfter(handle), std::runtime_error);
    EXPECT_FALSE(hasLeft);
    EXPECT_TRUE(waitFor([&] { return hasLeft; }));
}
