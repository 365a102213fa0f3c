#ifndef BIZ_GATEWAY_COMMAND_DESK_H
#define BIZ_GATEWAY_COMMAND_DESK_H

#include <map>
#include <utility>
#include <vector>

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <biz_gateway/commands/command_message.h>
#include <biz_gateway/devices/site_devices.h>
#include <biz_gateway/gateway/outbox.h>
#include <biz_gateway/gateway/refusal.h>
#include <biz_gateway/journal/journal.h>
#include <biz_gateway/limits/client_limits.h>
#include <biz_gateway/topics/topics.h>

namespace biz::gateway {

/**
 * Takes commands from clients, and sees to it that each id is given to a device at most once and has one outcome:
 *
 *  1. A message is refused, answered from the journal, or becomes an entry of it.
 *  2. Only when the entry is in the file is the command given to its device.
 *  3. Only when the outcome is in the file is it sent.
 *
 * What is killed between two of these steps leaves an entry that says how far it had come.
 */
class CommandDesk : public QObject
{
    Q_OBJECT

public:
    CommandDesk(Journal *journal, SiteDevices *devices, Outbox *outbox, const GatewayConfig &config,
                QObject *parent = nullptr);

    /**
     * The commands of a gateway that was killed end as interrupted, once the journal has room to say so. Throws
     * JournalError when it cannot be read.
     */
    void endInterrupted();

    void take(const QVector<Message> &messages);

    /** From here on commands are refused. */
    void stopTaking() { m_isStopping = true; }

    void setAllowance(const ClientAllowance &allowance) { m_limits.setAllowance(allowance); }
    void setResponseTopics(const QStringList &filters) { m_responseTopics = filters; }

    /** Commands that have not ended, or whose outcome is not in the journal yet. */
    int pending() const { return static_cast<int>(m_numbers.size()) + static_cast<int>(m_ends.size()); }

private:
    /** A message on its way through the desk. */
    struct Asked
    {
        Address address;
        QString client;
        ReplyPath reply;
        CommandMessage command;
        qint64 number = 0; ///< in the journal
    };

    /** What a round of messages comes to. */
    struct Round
    {
        std::vector<const Asked *> cancels;
        std::vector<Asked *> accepted;
        QHash<QString, int> acceptedOf; ///< each client
        std::vector<std::pair<ReplyPath, QByteArray>> answers;
    };

    /** Each host numbers its commands by itself. */
    using GivenKey = std::pair<Channel, host::Ticket>;

    /** A command that a device has. */
    struct Given
    {
        qint64 number = 0;
        QString client;
        Address address;
    };

    /** A change of an entry that is not in the file yet. */
    struct End
    {
        qint64 number = 0;
        QString client;
        QByteArray payload;
        bool isRefused = false; ///< by its device's host: the entry goes
    };

    void read(const Message &message, std::vector<Asked> *asked);
    std::optional<Refusal> refusalOf(const Message &message, const Asked &asked);
    ReplyPath replyPathOf(const Message &message, const Address &address) const;
    void decide(Asked *asked, Round *round);
    void answerFromJournal(const Asked &asked, const JournalEntry &known, Round *round);
    std::optional<Refusal> refusalOfNew(const Asked &asked, const Round &round) const;
    void accept(Asked *asked, Round *round);
    void refuseRound(std::vector<Asked> *asked, const QString &problem);
    void finish(const Round &round);
    void give(const Asked &asked);
    void cancel(const Asked &asked);
    static void refuse(const Asked &asked, const Refusal &refusal, Round *round);
    void onHappened(const Address &address, const host::Event &event);
    void flushEnds();

    Journal *const m_journal;
    SiteDevices *const m_devices;
    Outbox *const m_outbox;
    const Topics m_topics;
    QStringList m_responseTopics;
    ClientLimits m_limits;
    std::map<GivenKey, Given> m_given;
    QHash<qint64, GivenKey> m_numbers; ///< of what is given, by its number in the journal
    std::vector<End> m_ends;
    QTimer m_flushing;
    bool m_isStopping = false;
};

} // namespace biz::gateway

#endif
