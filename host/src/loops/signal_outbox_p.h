#ifndef BIZ_HOST_SIGNAL_OUTBOX_P_H
#define BIZ_HOST_SIGNAL_OUTBOX_P_H

#include <deque>
#include <functional>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>
#include <QtCore/QPointer>

namespace biz::host {

/**
 * Emits a host's signals in order from the event loop. No emission happens inside a call of
 * the host's, so a slot may call whatever it likes, an event loop of its own included.
 *
 * Each event wakes a thread with two system calls, hence one for all that was posted by then.
 */
class SignalOutbox : public QObject
{
public:
    using Emission = std::function<void()>;

    explicit SignalOutbox(QObject *parent)
        : QObject(parent)
    {
    }

    void post(Emission emission) { postRepeated(1, std::move(emission)); }

    /** An emission that is made so many times; other events have their turns between them. */
    void postRepeated(std::size_t times, Emission emission)
    {
        if (times == 0) {
            return;
        }
        m_series.push_back({std::move(emission), times});
        if (!m_emitsSoon) {
            wake();
        }
    }

    /** To be called from an event: what `handle` posts is emitted at its end, by the same event. */
    template<typename Handle>
    void emitAfter(Handle handle)
    {
        m_emitsSoon = true;
        handle();
        m_emitsSoon = false;
        emitWaiting();
    }

protected:
    void customEvent(QEvent * /*event*/) override
    {
        m_isAwake = false;
        emitWaiting();
    }

private:
    struct Series
    {
        Emission emission;
        std::size_t times;
    };

    void wake()
    {
        if (!m_isAwake) {
            m_isAwake = true;
            QCoreApplication::postEvent(this, new QEvent(QEvent::User));
        }
    }

    /** As many emissions as series wait now: neither a long one nor what slots post keeps other events out. */
    void emitWaiting()
    {
        // The slots may destroy the host, and this object with it.
        const QPointer<SignalOutbox> self(this);
        for (std::size_t left = m_series.size(); self && left > 0 && !m_series.empty(); --left) {
            const Emission emission = takeNext();
            if (m_series.empty()) {
                emission();
            } else {
                emitBeforeOthers(emission);
            }
        }
        if (self && !m_series.empty()) {
            wake(); // what is left has its turn behind the events that wait
        }
    }

    /**
     * A slot that runs an event loop of its own still gets the rest, by an event that is posted
     * when that loop begins a turn; without such a slot it would be one event for nothing.
     */
    void emitBeforeOthers(const Emission &emission)
    {
        const auto *const dispatcher = QAbstractEventDispatcher::instance();
        const auto wakeForRest = [this] {
            if (!m_series.empty()) {
                wake();
            }
        };
        const auto beforeWait = connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, wakeForRest);
        const auto beforeTurn = connect(dispatcher, &QAbstractEventDispatcher::awake, this, wakeForRest);
        emission();
        disconnect(beforeWait);
        disconnect(beforeTurn);
    }

    Emission takeNext()
    {
        Series &front = m_series.front();
        if (--front.times > 0) {
            return front.emission;
        }
        Emission last = std::move(front.emission);
        m_series.pop_front();
        return last;
    }

    std::deque<Series> m_series;
    bool m_isAwake = false;   ///< an event is under way
    bool m_emitsSoon = false; ///< the event that is being handled emits at its end
};

} // namespace biz::host

#endif
