// The channel's tables, and the life of its objects.

#include "osd_channel_fixture.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>

#include <support/held_locks.h>

using namespace osd_test;

namespace {

class OsdState : public OsdChannel
{
};

// Looks at the channel before any test has written to it.
struct AtLoad
{
    bool empty = Channel::m_qsIp.isEmpty() && Channel::queueHexCmd.isEmpty() && Channel::m_bRetFlag.isEmpty() &&
                 Channel::receivequeueHexCmd.empty();
    bool unlocked = biz::test::heldOf(biz::test::osdChannelLocks()).empty();
};
const AtLoad atLoad;

TEST_F(OsdState, ChannelIsEmptyAndUnlockedWhenTheLibraryIsLoaded)
{
    EXPECT_TRUE(atLoad.empty);
    EXPECT_TRUE(atLoad.unlocked);
}

TEST_F(OsdState, NewObjectHasBothRunFlagsTrueAndEmptyMaps)
{
    // In zeroed memory a flag that nobody sets would read as false.
    alignas(Channel) unsigned char memory[sizeof(Channel)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0));
    auto *worker = new (memory) Channel;

    EXPECT_TRUE(worker->m_bSendRun);
    EXPECT_TRUE(worker->m_bRecvRun);
    EXPECT_TRUE(worker->m_mapSendTime.isEmpty());
    EXPECT_TRUE(worker->m_mapCurSend.isEmpty());

    worker->~Channel();
}

TEST_F(OsdState, ConstructionLeavesTheSharedChannelAlone)
{
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::m_bRetFlag[deviceA] = false;
    Channel::addToReceiveQueue(record(QStringLiteral("10.0.0.2"), 2));

    const Channel worker;

    EXPECT_EQ(Channel::m_qsIp.size(), 1);
    EXPECT_EQ(waitingTags(0), Tags{1});
    EXPECT_FALSE(Channel::m_bRetFlag.value(deviceA));
    EXPECT_EQ(replyTags(), Tags{2});
}

TEST_F(OsdState, SharedChannelOutlivesEveryObject)
{
    auto worker = std::make_unique<Channel>();
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::addToReceiveQueue(record(deviceA, 2));

    worker.reset();

    EXPECT_EQ(waitingTags(0), Tags{1});
    EXPECT_EQ(replyTags(), Tags{2});
    EXPECT_TRUE(Channel::m_bRetFlag.value(deviceA));
}

TEST_F(OsdState, ParentIsTheOneGivenToTheConstructor)
{
    QObject parent;

    auto *child = new Channel(&parent);

    EXPECT_EQ(child->parent(), &parent);
    EXPECT_EQ(Channel().parent(), nullptr);
}

} // namespace
