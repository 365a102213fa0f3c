#include <biz_gateway/broker/message_inbox.h>

#include <utility>

namespace biz::gateway {

bool MessageInbox::put(Message message)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_isClosed || hasRoom(); });
    if (m_isClosed) {
        return false;
    }
    m_bytes += message.payload.size();
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
