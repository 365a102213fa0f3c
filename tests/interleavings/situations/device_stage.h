#ifndef BIZ_INTERLEAVINGS_DEVICE_STAGE_H
#define BIZ_INTERLEAVINGS_DEVICE_STAGE_H

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include <biz_cmdswork/biz_cmdswork.h>
#include <interleavings/situations/stage.h>

namespace biz::interleavings {

namespace finding {

constexpr char gateStaysShut[] = "the gate stays shut with nothing in flight";
constexpr char settledIsResent[] = "a settled command is resent";
constexpr char twoInFlight[] = "a command leaves while another one is in flight";
constexpr char twoFates[] = "a command is announced that was reported as discarded";
constexpr char watchdogResendsAnother[] = "a watchdog resends another command than its own";
constexpr char counterIsWrong[] = "the counter has not counted each take and each clear once";
constexpr char commandIsLost[] = "a command is neither announced nor discarded";
constexpr char announcedTwice[] = "a command is announced twice without a resend";
constexpr char takesFromEmptyQueue[] = "the host takes from an empty queue";

} // namespace finding

/** A wait that no situation lives to see. */
constexpr int longWaitMs = 30000;

constexpr milliseconds sendPass{10};

/** The device channel with its loops, a device, and a host that keeps books on its commands. */
class DeviceStage final : public Stage
{
public:
    DeviceStage(RecordingChooser &chooser, bool planted);
    ~DeviceStage() override;
    DeviceStage(const DeviceStage &) = delete;
    DeviceStage &operator=(const DeviceStage &) = delete;

    using HostsScript = void (*)(DeviceStage &stage);
    static Findings play(HostsScript script, RecordingChooser &chooser, bool planted);

    // --- For the host's script ----------------------------------------------------------

    /** A worker with its send loop. */
    biz_CMDSWork &startWorker();
    void startReceiveLoop(biz_CMDSWork &worker);

    /** Enqueues a command; returns its number. */
    int push(int waitMs);

    /** The device's answer to a command, for the receive loop. */
    void deliverReply(int number);

    /** What a reply does that settles its command: opens the gate, once. */
    void settle(int number);
    void openGate();

    void clear(biz_CMDSWork &worker);
    void timeoutClear(biz_CMDSWork &worker);

    /** The host has counted `iSN` up by itself. */
    void noteCount() { ++m_countedByHost; }

    /** Skip mode may discard what has been pushed so far. */
    void allowDiscards() { m_mayBeDiscarded = static_cast<int>(m_commands.size()); }

    /** Runs on a thread of its own until its wait is over. */
    void startWatchdog(biz_CMDSWork &worker, int number, int sn);

    /** The device answers whatever is in flight, long enough after its send, until nothing waits. */
    void answerAll();

    /** Looks at what is left once the host is quiet, and stops the loops. */
    void finish();

    bool isSettled(int number) const { return m_commands.at(static_cast<std::size_t>(number)).isSettled; }
    int timesAnnounced(int number) const { return m_commands.at(static_cast<std::size_t>(number)).announced; }
    std::optional<int> inFlight() const;

    /** Called in the slots of signalSendMessage, for first announcements, and of signalSendReceiveMessage. */
    std::function<void(biz_CMDSWork &worker, int number)> onAnnounced;
    std::function<void(int number)> onAccepted;

    // --- What the library tells -----------------------------------------------------------

    static void noteMessage(QtMsgType type, const QMessageLogContext &context, const QString &message);

private:
    struct Command
    {
        int announced = 0;
        bool isSettled = false;
        nanoseconds settledAt{0};
    };

    void connect(biz_CMDSWork &worker);
    void onSend(biz_CMDSWork &worker, int number);
    void onInitCore(int number);
    Command &command(int number) { return m_commands.at(static_cast<std::size_t>(number)); }

    std::deque<Command> m_commands;
    std::vector<std::unique_ptr<biz_CMDSWork>> m_workers;
    std::set<int> m_inFlight; ///< announced and not settled
    int m_mayBeDiscarded = 0; ///< commands below this number
    int m_forgiven = 0;       ///< a clear has opened the gate over commands below this number
    int m_takes = 0;
    int m_countedByHost = 0;             ///< by clears and by itself
    std::map<int, bool> m_resendFollows; ///< by task
    std::map<int, int> m_watched;        ///< by watchdog's task: its command
};

} // namespace biz::interleavings

#endif
