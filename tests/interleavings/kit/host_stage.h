#ifndef BIZ_INTERLEAVINGS_HOST_STAGE_H
#define BIZ_INTERLEAVINGS_HOST_STAGE_H

#include <map>
#include <memory>

#include <QtCore/QByteArray>
#include <QtCore/QEventLoop>
#include <QtCore/QString>

#include <host/vocabulary.h>
#include <interleavings/situations/stage.h>

namespace biz::interleavings {

namespace finding {

constexpr char doesNotStart[] = "the host does not start";
constexpr char noEnd[] = "a command has no end";
constexpr char secondEnd[] = "a command has a second end";
constexpr char sentAfterItsEnd[] = "a command is sent after its end";
constexpr char sentAgain[] = "a command is sent again without a resend";
constexpr char twoUnderWay[] = "a command is sent to a device that another one is under way to";
constexpr char givenUpEarly[] = "a command is given up long before its wait is over";
constexpr char wrongAnswer[] = "a command is answered by a reply to another one";
constexpr char channelKeepsSomething[] = "the channel is not as it was although every command has ended";

} // namespace finding

/** A wait that no situation with a host lives to see. */
constexpr int longWaitOfHostMs = 30000;

/**
 * A host of the kit on the first task, with the loops of its channel. What it tells of its commands is held against
 * what may be told of one: sent, perhaps resent, and ended once.
 */
class HostStage : public Stage
{
public:
    using Stage::Stage;

    // --- For the script -------------------------------------------------------------------

    /** So much time after the loops have begun. */
    void sleepUntilPass(milliseconds sinceStart) { sleepUntil(m_started + sinceStart); }

    /** The host's event loop handles what is there. Somebody else may have a turn behind it. */
    void turn();
    void turns(int count);

    /** Goes on, with devices that answer, until every command has ended. */
    void playToTheEnd();

    bool hasEnded(host::Ticket ticket) const { return m_commands.at(ticket).hasEnded; }

protected:
    /** Makes the event loop of the task that calls it. */
    void openEventLoop() { m_eventLoop = std::make_unique<QEventLoop>(); }
    void closeEventLoop() { m_eventLoop.reset(); }

    /** The loops begin now. */
    void noteStart();

    void noteGiven(host::Ticket ticket, const QString &device, int waitMs, const QByteArray &payload);
    void noteSent(host::Ticket ticket, int attempt);
    /** Devices answer with the payload that they got; no two commands have the same. */
    void noteEnd(host::Ticket ticket, host::Outcome outcome, const QByteArray &answer);
    QByteArray nextPayload() const { return QByteArray::number(static_cast<int>(m_commands.size())); }
    bool haveAllEnded() const;

    /** Each command to its device by itself; without it, as many as there are may be under way. */
    bool hasGate = true;

    /** What has arrived at the devices, long enough ago, is answered. */
    virtual void answerWhatHasArrived() = 0;

private:
    struct Command
    {
        QString device;
        int waitMs = 0;
        QByteArray payload;
        int attempts = 0;
        bool hasEnded = false;
    };

    std::unique_ptr<QEventLoop> m_eventLoop;
    milliseconds m_started{0};
    std::map<host::Ticket, Command> m_commands;
};

} // namespace biz::interleavings

#endif
