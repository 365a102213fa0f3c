#ifndef BIZ_HOST_DEVICE_REPLIES_P_H
#define BIZ_HOST_DEVICE_REPLIES_P_H

#include <deque>
#include <memory>
#include <optional>

#include <device/device_commands_p.h>
#include <host/reply_matcher.h>
#include <host/reply_words.h>
#include <loops/host_signals_p.h>

namespace biz::host {

/**
 * The replies on their way through the channel: each is judged once when it comes, handed to
 * the channel, and recognised when the channel hands it on as accepted.
 */
class DeviceReplies
{
public:
    /** A reply that the channel has accepted for a command in flight. */
    struct Answer
    {
        DeviceCommand *command;
        model_Protocoldata reply;
        TimePoint arrival;
    };

    /** Replies are numbered from the one after `lastFed` on. */
    DeviceReplies(DeviceCommands *commands, HostSignals<DeviceHost> *signalsOfHost, quint32 lastFed = 0)
        : m_commands(commands)
        , m_signals(signalsOfHost)
        , m_lastFed(lastFed)
    {
    }

    /** Null: by the sequence byte. */
    void setMatcher(std::unique_ptr<ReplyMatcher> matcher) { m_matcher = std::move(matcher); }

    /** A reply has come from the device. */
    void take(model_Protocoldata reply);

    /** The channel has accepted a reply; none when it answers nothing. */
    std::optional<Answer> onAccepted(model_Protocoldata reply);

    /** The rules have changed: what has been accepted may yet be refused by the channel. */
    void forgetVerdicts();

    /** Accepted replies that the channel has not handed on yet. */
    int underWay() const { return static_cast<int>(m_answers.size() + m_further.size()); }

    /** The channel's receive queue has been emptied. */
    void forget()
    {
        m_answers.clear();
        m_further.clear();
    }

private:
    /** A good reply to a command in flight, on its way through the channel's receive queue. */
    struct FedReply
    {
        quint32 number;
        Ticket ticket;
        TimePoint arrival;
    };
    using FedReplies = std::deque<FedReply>;

    bool isAnswer(quint32 number) const;
    void feed(const model_Protocoldata &reply);
    void onDropped(model_Protocoldata reply);
    std::optional<FedReply> takeFed(FedReplies *fed, quint32 number);
    void report(DeviceCommand &command, const model_Protocoldata &reply, bool accepted);
    DeviceCommand *commandOf(const model_Protocoldata &reply);
    const EndedCommand &endedCommandOf(const model_Protocoldata &reply) const;
    void reportUnmatched(const model_Protocoldata &reply);

    DeviceCommands *const m_commands;
    HostSignals<DeviceHost> *const m_signals;
    std::unique_ptr<ReplyMatcher> m_matcher;
    FedReplies m_answers; ///< the first to each command; the channel judges them first
    FedReplies m_further; ///< that came before the first was judged
    quint32 m_lastFed;    ///< counts through its end
};

} // namespace biz::host

#endif
