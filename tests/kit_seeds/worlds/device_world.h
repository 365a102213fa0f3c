#ifndef BIZ_KIT_SEEDS_DEVICE_WORLD_H
#define BIZ_KIT_SEEDS_DEVICE_WORLD_H

#include <memory>

#include <QtCore/QPointer>

#include <kit_seeds/worlds/watched_link.h>
#include <kit_seeds/worlds/world.h>

#include <host/device_host.h>
#include <testkit/simulated_device.h>

namespace biz::kit_seeds {

/** The device channel. */
class DeviceWorld final : public World, public WatchedLink::Watcher
{
public:
    DeviceWorld(Dice &dice, testkit::TestClock &clock);
    ~DeviceWorld() override;

    void check() override;
    void end() override;

private:
    // --- The host
    host::Counters counters() const override { return m_host->counters(); }
    int pending() const override { return m_host->pending(); }
    int waiting() const override { return m_host->waiting(); }
    int repliesUnderWay() const override { return m_host->repliesUnderWay(); }
    host::Ticket enqueue(Given &given) override;
    bool cancel(host::Ticket ticket) override { return m_host->cancel(ticket); }
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
    void fillLink();

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
    QObject m_context;
    std::unique_ptr<host::DeviceHost> m_host;
    QPointer<WatchedLink> m_link;

    bool m_isReady = true; ///< what the host hears when it asks whether it may write
    bool m_isSkipping = false;
    bool m_isStopping = false;
    host::WhileDown m_whileDown = host::WhileDown::FailFast;
    int m_defaultWaitMs = 0;
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
    nanoseconds m_movedAt = never; ///< last write, or change of what a write depends on
};

} // namespace biz::kit_seeds

#endif
