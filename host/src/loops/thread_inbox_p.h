#ifndef BIZ_HOST_THREAD_INBOX_P_H
#define BIZ_HOST_THREAD_INBOX_P_H

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>

namespace biz::host {

/**
 * Carries what the loops' threads saw to the host's thread, in the order in which they saw
 * it. The loops' slots share it with the host, so a loop that outlives its host writes
 * into a closed inbox and not into a destroyed one.
 */
template<typename Message>
class ThreadInbox
{
public:
    /** `receiver` gets one event of type QEvent::User whenever messages are waiting. */
    explicit ThreadInbox(QObject *receiver)
        : m_receiver(receiver)
    {
    }

    /** On any thread; never blocks for longer than another push. */
    void push(Message message)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_receiver == nullptr) {
            return;
        }
        m_messages.push_back(std::move(message));
        if (m_messages.size() == 1) {
            QCoreApplication::postEvent(m_receiver, new QEvent(QEvent::User));
        }
    }

    /** On the host's thread: everything that has come since the last call. */
    std::vector<Message> takeAll()
    {
        std::vector<Message> taken;
        const std::lock_guard<std::mutex> lock(m_mutex);
        taken.swap(m_messages);
        return taken;
    }

    /** On the host's thread, before the receiver goes: later messages are dropped. */
    void close()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_receiver = nullptr;
        m_messages.clear();
    }

private:
    std::mutex m_mutex;
    QObject *m_receiver;
    std::vector<Message> m_messages;
};

/** Calls back on the host's thread when its inbox has messages. */
class InboxReceiver : public QObject
{
public:
    template<typename Callback>
    InboxReceiver(Callback callback, QObject *parent)
        : QObject(parent)
        , m_callback(std::move(callback))
    {
    }

protected:
    // QObject::event has looked at the type: what other threads made stays in Qt's hands.
    void customEvent(QEvent * /*event*/) override { m_callback(); }

private:
    std::function<void()> m_callback;
};

} // namespace biz::host

#endif
