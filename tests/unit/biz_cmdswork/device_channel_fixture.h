#ifndef BIZ_TEST_DEVICE_CHANNEL_FIXTURE_H
#define BIZ_TEST_DEVICE_CHANNEL_FIXTURE_H

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <support/channel_state_guard.h>
#include <support/journal.h>
#include <support/message_recorder.h>
#include <support/scratch_folder.h>
#include <support/signal_recorder.h>
#include <support/virtual_time.h>

namespace biz::test {

/** Wide enough that no time-out falls into a test that is not about time-outs. */
constexpr int longWait = 1000000;

/** A command that its tag tells from others. */
model_Protocoldata command(int tag, int waitMilliseconds = longWait);

/**
 * A reply that every A2 checker refuses (0xF1/0x08 with its index one too high), and the
 * same one just right.
 */
model_Protocoldata refusedReply(int tag);
model_Protocoldata acceptedReply(int tag);
constexpr int typeOfRefusedReply = 0x1400;

/** The device channel as a fresh process has it, one worker, virtual time, a scratch folder. */
class DeviceChannelTest : public ::testing::Test
{
protected:
    DeviceChannelTest();

    /** Stops the loops and lets every thread end. */
    void TearDown() override;

    // --- What a host does -----------------------------------------------------------
    static void enqueue(const model_Protocoldata &record);
    static void enqueue(const std::vector<int> &tags);
    static void pushReply(const model_Protocoldata &record);
    static void setGate(bool open);

    /** Sends one command: it is in flight, nothing else waits, the recorders are empty. */
    void putInFlight(int tag, int waitMilliseconds);

    // --- Time -----------------------------------------------------------------------
    /** Whole passes of the worker's loop, which the first call starts. */
    void passes(int count);
    void receivePasses(int count);

    /** Whole passes of the second worker's send loop, which the first call starts. */
    void passesOfOther(int count);

    /** Starts a watchdog for the command in flight, as a host does. */
    ThreadId startWatchdog(int sn);

    // --- What was seen --------------------------------------------------------------
    /** The tags that signalSendMessage carried. */
    std::vector<int> announced() const { return signals.tagsOf("signalSendMessage"); }
    std::vector<std::string> messages() const { return output.texts(); }
    void forgetAll();

    /** From here on every sleep other than a pass's own is written to the journal. */
    void journalSleeps();

    DeviceChannelGuard guard;
    ScratchFolder folder;
    Journal journal;
    VirtualTime time;
    MessageRecorder output{deviceChannelLocks(), &journal};
    DeviceSignals signals{deviceChannelLocks(), &journal};
    biz_CMDSWork worker;
    biz_CMDSWork otherWorker; ///< a second one on the same channel
    ThreadId sendLoop = unfollowedThread;
    ThreadId receiveLoop = unfollowedThread;
    ThreadId otherSendLoop = unfollowedThread;

private:
    void sendPasses(biz_CMDSWork &ofWorker, ThreadId &loop, int count);
};

using Lines = std::vector<std::string>;
using Tags = std::vector<int>;

} // namespace biz::test

#endif
