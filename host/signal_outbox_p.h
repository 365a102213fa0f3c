#ifndef BIZ_HOST_SIGNAL_OUTBOX_P_H
#define BIZ_HOST_SIGNAL_OUTBOX_P_H

#include <deque>
#include <functional>

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>

namespace biz::host {

/**
 * Emits a host's signals one by one from the event loop. No emission happens inside a call
 * of the host's, so a slot may call whatever it likes; one per event, so that a slot which
 * runs an event loop of its own still gets the signals that follow.
 */
class SignalOutbox : public QObject
{
public:
    using Emission = std::function<void()>;

    explicit SignalOutbox(QObject *parent)
        : QObject(parent)
    {
    }

    void post(Emission emission)
    {
        m_emissions.push_back(std::move(emission));
        if (m_emissions.size() == 1) {
            wake();
        }
    }

protected:
    void customEvent(QEvent * /*event*/) override
    {
        const Emission emission = std::move(m_emissions.front());
        m_emissions.pop_front();
        if (!m_emissions.empty()) {
            wake();
        }
        // Last: the slots may destroy the host, and this object with it.
        emission();
    }

private:
    void wake() { QCoreApplication::postEvent(this, new QEvent(QEvent::User)); }

    std::deque<Emission> m_emissions;
};

} // namespace biz::host

#endif
