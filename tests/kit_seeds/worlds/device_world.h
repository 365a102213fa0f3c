#ifndef BIZ_KIT_SEEDS_DEVICE_WORLD_H
#define BIZ_KIT_SEEDS_DEVICE_WORLD_H

#include <QtCore/QPointer>

#include <kit_seeds/worlds/host_world.h>
#include <kit_seeds/worlds/watched_link.h>

#include <host/device_host.h>
#include <testkit/simulated_device.h>

namespace biz::kit_seeds {

/** The device channel. */
class DeviceWorld final : public HostWorld<host::DeviceHost>, public WatchedLink::Watcher
{
public:
    DeviceWorld(Dice &dice, testkit::TestClock &clock);
    ~DeviceWorld() override;

    void check() override;

private:
    // --- The host
    int repliesUnderWay() const override { return m_host->repliesUnderWay(); }
    host::Ticket enqueue(Given &given) override;
    bool isLost() const override { return m_host->linkStatus().state == host::LinkState::Lost; }
    bool isFailingFast() const override { return m_whileDown == host::WhileDown::FailFast; }
    host::Outcome endOfGiven() const override;

    // --- What happens
    void act() override;
    void repair() override;
    void makeHost();
    void connectHost();
    void clear();
    void setSkipping(bool on);
    void setWhileDown(host::WhileDown policy);
    void setSettleTime(int ms);
    void stopAndStart();
    void changeSettings();
    void breakSomething();

    // --- What is seen
    void beforeOpen() override;
    void beforeWrite(const QByteArray &frame, bool isFull, qint64 bytesHeld) override;
    void afterWrite(const QByteArray &frame) override;
    void beforeReceived(const QByteArray &bytes) override;
    void onOpened() override;
    void onBreak() override;
    void onHeld() override { m_ledger.noteHindered(); }
    void noteEnded(host::Ticket ticket, const host::CommandResult &result, bool isCallback);
    void noteAnswer(nanoseconds arrival);

    // --- What must hold
    void checkPolicies();
    void checkProgress();
    void checkSilence();
    void checkChannel();
    bool canProgress();

    testkit::SimulatedDevice m_device;
    host::DemoFrameCodec m_commandCodec;
    host::DemoFrameCodec m_replyCodec;
    QPointer<WatchedLink> m_link;

    bool m_isSkipping = false;
    host::WhileDown m_whileDown = host::WhileDown::FailFast;
    int m_toldWaiting = 0;

    // Quiet times.
    int m_settleMs = 0;
    int m_shortestSettleMs = 0;           ///< since the answer
    nanoseconds m_answeredAt = never;     ///< arrival of the last answer
    nanoseconds m_firstWrittenAt = never; ///< last first copy
    nanoseconds m_settleChangedAt = never;

    // The link.
    int m_reconnectMs = 0;
    nanoseconds m_reconnectChangedAt = never;
    nanoseconds m_lineChangedAt = never; ///< last attempt to open it, or loss
    nanoseconds m_lostSince = never;
    qint64 m_left = 0;               ///< bytes that the link was given and does not hold
    nanoseconds m_leftAt = never;    ///< when that last was another number
    nanoseconds m_idleSince = never; ///< since then a command could be written
    nanoseconds m_lastWriteAt = never;
};

} // namespace biz::kit_seeds

#endif
