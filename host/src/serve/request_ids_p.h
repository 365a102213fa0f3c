#ifndef BIZ_HOST_SERVE_REQUEST_IDS_P_H
#define BIZ_HOST_SERVE_REQUEST_IDS_P_H

#include <deque>

#include <QtCore/QHash>
#include <QtCore/QString>

#include <host/vocabulary.h>

namespace biz::host {

/** The clients' names of commands, and their tickets, until some time after the end. */
class RequestIds
{
public:
    /** Ids of so many commands that have ended are remembered: they name late replies, and are not used again. */
    static constexpr int rememberedEnds = 10'000;

    bool isUsed(const QString &id) const { return m_tickets.contains(id); }

    void add(const QString &id, Ticket ticket)
    {
        m_tickets.insert(id, ticket);
        m_ids.insert(ticket, id);
    }

    void noteEnd(Ticket ticket)
    {
        m_ended.push_back(ticket);
        if (m_ended.size() > rememberedEnds) {
            m_tickets.remove(m_ids.take(m_ended.front()));
            m_ended.pop_front();
        }
    }

    /** 0: there is no such command. */
    Ticket ticketOf(const QString &id) const { return m_tickets.value(id); }

    /** Empty: there is no such command. */
    QString idOf(Ticket ticket) const { return m_ids.value(ticket); }

private:
    QHash<QString, Ticket> m_tickets;
    QHash<Ticket, QString> m_ids;
    std::deque<Ticket> m_ended;
};

} // namespace biz::host

#endif
