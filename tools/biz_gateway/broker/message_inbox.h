#ifndef BIZ_GATEWAY_MESSAGE_INBOX_H
#define BIZ_GATEWAY_MESSAGE_INBOX_H

#include <condition_variable>
#include <mutex>

#include <QtCore/QVector>

#include <biz_gateway/broker/message.h>

namespace biz::gateway {

/**
 * Messages on their way from the connection's thread to the gateway's. When it is full the connection waits: it
 * reads no more, and what is sent meanwhile stays with the broker.
 */
class MessageInbox
{
public:
    static constexpr int mostMessages = 1000;
    static constexpr qint64 mostBytes = 8LL * 1024 * 1024;

    /** What a message counts, with all that it holds. */
    static qint64 costOf(const Message &message);

    /** Waits for room, or for the close. True when it was empty, so that somebody has to be told. */
    bool put(Message message);

    /** All that is in it. */
    QVector<Message> take();

    /** From here on nobody waits, and what is put is dropped. */
    void close();

private:
    bool hasRoom() const { return m_messages.size() < mostMessages && m_bytes < mostBytes; }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    QVector<Message> m_messages; ///< from here on guarded by m_mutex
    qint64 m_bytes = 0;
    bool m_isClosed = false;
};

} // namespace biz::gateway

#endif
