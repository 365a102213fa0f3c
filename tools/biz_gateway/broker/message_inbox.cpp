#include <biz_gateway/broker/message_inbox.h>

#include <utility>

namespace biz::gateway {

qint64 MessageInbox::costOf(const Message &message)
{
    constexpr qint64 perCharacter = sizeof(QChar);
    return message.payload.size() + message.correlation.size() +
           perCharacter * (message.topic.size() + message.responseTopic.size());
}

bool MessageInbox::put(Message message)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_isClosed || hasRoom(); });
    if (m_isClosed) {
        return false;
    }
    m_bytes += costOf(message);
    m_messages.append(std::move(message));
    return m_messages.size() == 1;
}

QVector<Message> MessageInbox::take()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_bytes = 0;
    m_changed.notify_all();
    return std::exchange(m_messages, {});
}

void MessageInbox::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isClosed = true;
    m_changed.notify_all();
}

} // namespace biz::gateway
