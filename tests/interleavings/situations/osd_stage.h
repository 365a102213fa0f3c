#ifndef BIZ_INTERLEAVINGS_OSD_STAGE_H
#define BIZ_INTERLEAVINGS_OSD_STAGE_H

#include <deque>
#include <map>
#include <memory>
#include <vector>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <interleavings/situations/stage.h>

namespace biz::interleavings {

namespace finding {

constexpr char twoToOneDevice[] = "a command leaves for a device whose reply is awaited";
constexpr char forgottenIsSent[] = "a command is announced that the host has forgotten";
constexpr char givenUpIsSent[] = "a command is announced that the host has given up";
constexpr char writtenTwice[] = "a command is written twice";

} // namespace finding

constexpr milliseconds osdSendPass{3};
constexpr milliseconds osdReceivePass{5};
constexpr milliseconds osdTimeoutPass{500};

/** The OSD channel with its loops, devices, and a host that keeps books on its commands. */
class OsdStage final : public Stage
{
public:
    OsdStage(RecordingChooser &chooser, bool planted);
    ~OsdStage() override;
    OsdStage(const OsdStage &) = delete;
    OsdStage &operator=(const OsdStage &) = delete;

    using HostsScript = void (*)(OsdStage &stage);
    static Findings play(HostsScript script, RecordingChooser &chooser, bool planted);

    // --- For the host's script ----------------------------------------------------------

    /** A worker with its send loop, which starts the time-out loop. */
    biz_Osd_CMDSWork &startWorker();
    void startReceiveLoop(biz_Osd_CMDSWork &worker);

    /** Another object's time-out loop alone: its send loop would find nothing to do. */
    void startTimeoutLoop();

    /** Enqueues a command; returns its number. */
    int push(const QString &ip, int waitMs);

    /** The reply to a command comes. */
    void reply(int number);
    void clear(biz_Osd_CMDSWork &worker);

    /** Whether this command is the one whose reply its device owes, and its wait is over. */
    bool isOverdue(int number) const;

    /** The devices answer whatever they have got, long enough after its dispatch, until nothing waits. */
    void answerAll();

    /** Looks at what is left once the host is quiet, and stops the loops. */
    void finish();

    int timesAnnounced(int number) const { return m_commands.at(static_cast<std::size_t>(number)).announced; }

    /** Called in the slots of signalSendMessage. */
    std::function<void(int number)> onAnnounced;

private:
    struct Command
    {
        QString ip;
        int waitMs = 0;
        int announced = 0;
        int shown = 0; ///< by signalSendMessageUipro
        int replies = 0;
        bool isAnswered = false; ///< by a reply that came after its announcement
        int repliesAnnounced = 0;
        std::chrono::seconds sentAt{0}; ///< by the wall clock
    };

    void connect(biz_Osd_CMDSWork &worker);
    void onSend(int number);
    std::chrono::seconds wallSecond() const { return std::chrono::floor<std::chrono::seconds>(wallClock()); }
    Command &command(int number) { return m_commands.at(static_cast<std::size_t>(number)); }
    bool isTimedOut(const Command &command) const;
    bool isAllTaken() const;

    std::deque<Command> m_commands;
    std::vector<std::unique_ptr<biz_Osd_CMDSWork>> m_workers;
    bool m_hasReceiveLoop = false;
    std::map<QString, int> m_inFlight; ///< by device
    int m_mayBeDiscarded = 0;          ///< commands below this number
};

} // namespace biz::interleavings

#endif
