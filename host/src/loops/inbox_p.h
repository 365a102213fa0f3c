#ifndef BIZ_HOST_INBOX_P_H
#define BIZ_HOST_INBOX_P_H

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>

namespace biz::host {

/**
 * Carries what the loops' threads saw to the host's thread, in the order in which they saw it. It
 * lives as long as the loops; hosts come and go as its receivers.
 */
template<typename Message>
class Inbox
{
public:
    /** `receiver` gets one event of type QEvent::User whenever messages are waiting. */
    void attach(QObject *receiver)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_receiver = receiver;
    }

    /** Later messages are refused. Returns what nobody has taken. */
    std::vector<Message> detach()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_receiver = nullptr;
        return std::exchange(m_messages, {});
    }

    /** On any thread; never blocks for longer than another push. False when nobody is attached. */
    [[nodiscard]] bool push(Message message)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_receiver == nullptr) {
            return false;
        }
        m_messages.push_back(std::move(message));
        if (m_messages.size() == 1) {
            wakeReceiver();
        }
        return true;
    }

    /** The receiver gets an event though no message came: it has not finished with those that it took. */
    void wake()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_receiver != nullptr) {
            wakeReceiver();
        }
    }

    /** On the host's thread: everything that has come since the last call. */
    std::vector<Message> takeAll()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::exchange(m_messages, {});
    }

private:
    void wakeReceiver() { QCoreApplication::postEvent(m_receiver, new QEvent(QEvent::User)); }

    std::mutex m_mutex;
    QObject *m_receiver = nullptr;
    std::vector<Message> m_messages;
};

/** Calls back on the host's thread when its inbox has messages. */
class InboxReceiver : public QObject
{
public:
    InboxReceiver(std::function<void()> callback, QObject *parent)
        : QObject(parent)
        , m_callback(std::move(callback))
    {
    }

protected:
    // QObject::event has looked at the type: what other threads made stays in Qt's hands.
    void customEvent(QEvent * /*event*/) override { m_callback(); }

private:
    const std::function<void()> m_callback;
};

} // namespace biz::host

#endif
