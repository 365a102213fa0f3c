// What becomes of the loops when their object goes.

#include "osd_loops_fixture.h"

#include <memory>
#include <new>

using namespace osd_test;
using biz::test::ThreadId;

namespace {

/** The flag's byte, read in a way that the compiler cannot answer from what it knows. */
bool flagInMemory(const bool &flag)
{
    return __atomic_load_n(&flag, __ATOMIC_SEQ_CST);
}

/** A worker in memory that stays when the worker has gone, as the loops' last test needs it. */
class OsdLifetime : public OsdLoops
{
protected:
    ~OsdLifetime() override { time.finish(); }

    alignas(Channel) unsigned char memory[sizeof(Channel)] = {};
    Channel *mortal = new (memory) Channel;
};

TEST_F(OsdLifetime, DestructionClearsBothRunFlags)
{
    // QObject's destructor announces the end, after the worker's own.
    bool sendRun = true;
    bool recvRun = true;
    QObject::connect(mortal, &QObject::destroyed, [&, &sendFlag = mortal->m_bSendRun, &recvFlag = mortal->m_bRecvRun] {
        sendRun = flagInMemory(sendFlag);
        recvRun = flagInMemory(recvFlag);
    });

    mortal->~Channel();

    EXPECT_FALSE(sendRun);
    EXPECT_FALSE(recvRun);
}

TEST_F(OsdLifetime, DestructionWaitsForNoLoopAndEachEndsAfterItsCurrentPass)
{
    const ThreadId send = time.start("send loop", [this] { mortal->a1_GetQueueWork(); });
    const ThreadId timeout = send + 1;
    const ThreadId receive = time.start("receive loop", [this] { mortal->a1_receiveGetQueueWork(); });
    time.step(send, 3);
    time.step(receive, 2);

    mortal->~Channel();
    EXPECT_TRUE(time.isParked(send));
    EXPECT_TRUE(time.isParked(timeout));
    EXPECT_TRUE(time.isParked(receive));

    time.step(send);
    time.step(receive);
    time.step(timeout);
    EXPECT_TRUE(time.alive().empty());
}

} // namespace
