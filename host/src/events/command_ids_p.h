#ifndef BIZ_HOST_COMMAND_IDS_P_H
#define BIZ_HOST_COMMAND_IDS_P_H

#include <deque>

#include <QtCore/QHash>
#include <QtCore/QString>

#include <host/vocabulary.h>

namespace biz::host {

/** The application's own names of its commands, also for replies that come after their ends. */
class CommandIds
{
public:
    void add(Ticket ticket, const QString &id)
    {
        if (!id.isEmpty()) {
            m_ids.insert(ticket, id);
        }
    }

    QString of(Ticket ticket) const { return m_ids.value(ticket); }

    /** It is forgotten once so many others have ended that no reply is told from a stranger's any more. */
    void noteEnd(Ticket ticket)
    {
        if (!m_ids.contains(ticket)) {
            return;
        }
        m_ended.push_back(ticket);
        if (m_ended.size() > mostEnded) {
            m_ids.remove(m_ended.front());
            m_ended.pop_front();
        }
    }

private:
    /** As many commands of the device channel can still be told apart by their sequence bytes. */
    static constexpr std::size_t mostEnded = 256;

    QHash<Ticket, QString> m_ids;
    std::deque<Ticket> m_ended;
};

} // namespace biz::host

#endif
