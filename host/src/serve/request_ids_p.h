#ifndef BIZ_HOST_SERVE_REQUEST_IDS_P_H
#define BIZ_HOST_SERVE_REQUEST_IDS_P_H

#include <deque>

#include <QtCore/QHash>
#include <QtCore/QString>

#include <host/vocabulary.h>

namespace biz::host {

/** The client's names of its commands, until some time after the end: an id names one command. */
class RequestIds
{
public:
    /** Ids of so many commands that have ended are remembered. */
    static constexpr int rememberedEnds = 10'000;

    /** So many commands may be pending, with so many bytes of payload together. */
    static constexpr int mostPending = 10'000;
    static constexpr qint64 mostPendingBytes = qint64{16} * 1024 * 1024;

    bool isUsed(const QString &id) const { return m_tickets.contains(id); }
    bool hasRoomFor(qint64 bytes) const
    {
        return m_pending.size() < mostPending && m_pendingBytes + bytes <= mostPendingBytes;
    }
    bool hasPending() const { return !m_pending.isEmpty(); }

    void add(const QString &id, Ticket ticket, qint64 bytes)
    {
        m_tickets.insert(id, ticket);
        m_pending.insert(ticket, {id, bytes});
        m_pendingBytes += bytes;
    }

    void noteEnd(Ticket ticket)
    {
        const Pending ended = m_pending.take(ticket);
        m_pendingBytes -= ended.bytes;
        m_ended.push_back(ended.id);
        if (m_ended.size() > rememberedEnds) {
            m_tickets.remove(m_ended.front());
            m_ended.pop_front();
        }
    }

    /** 0: there is no such command. */
    Ticket ticketOf(const QString &id) const { return m_tickets.value(id); }

private:
    struct Pending
    {
        QString id;
        qint64 bytes = 0;
    };

    QHash<QString, Ticket> m_tickets;
    QHash<Ticket, Pending> m_pending;
    qint64 m_pendingBytes = 0;
    std::deque<QString> m_ended;
};

} // namespace biz::host

#endif
