#ifndef BIZ_HOST_OUTBOX_P_H
#define BIZ_HOST_OUTBOX_P_H

#include <deque>
#include <functional>
#include <memory>

#include <QtCore/QEvent>
#include <QtCore/QObject>
#include <QtCore/QScopeGuard>
#include <QtCore/QScopedValueRollback>

namespace biz::host {

/** Ends of commands that are still to be told, however many they are; each is made when it is told. */
class PendingEnds
{
public:
    PendingEnds() = default;
    virtual ~PendingEnds() = default;
    PendingEnds(const PendingEnds &) = delete;
    PendingEnds &operator=(const PendingEnds &) = delete;

    virtual bool isEmpty() const = 0;

    /** Posts the next end to its own callback; false when it has none, or that has been told. */
    virtual bool tellNextCallback() = 0;

    /** Takes the next end out: the call that tells everybody. */
    virtual std::function<void()> takeNext() = 0;

    /** Tells the callbacks of all that are left, and nobody else: the host is being destroyed. */
    virtual void tellCallbacks() = 0;
};

/**
 * Emits a host's signals in order from the event loop. No emission happens inside a call of the
 * host's, so a slot may call whatever it likes, an event loop of its own included. An event emits what
 * waits, up to the first end of a command.
 */
class Outbox : public QObject
{
public:
    using Emission = std::function<void()>;

    explicit Outbox(QObject *parent);

    void post(Emission emission);

    /** Other events have their turns between one end and the next. */
    void post(std::shared_ptr<PendingEnds> ends);

    /** To be called from an event: what `handle` posts begins to leave at its end, by the same event. */
    template<typename Handle>
    void emitAfter(Handle handle)
    {
        {
            const QScopedValueRollback<bool> emitsSoon(m_emitsSoon, true);
            // When an application's codec or matcher throws, what was posted before that leaves later.
            auto wakesForThem = qScopeGuard([this] {
                if (!m_entries.empty()) {
                    wake();
                }
            });
            handle();
            wakesForThem.dismiss();
        }
        emitWaiting();
    }

    /** At the end of the host: no signal leaves any more. */
    void tellCallbacks();

protected:
    void customEvent(QEvent *event) override;

private:
    /** Has either of the two. */
    struct Entry
    {
        Emission emission;
        std::shared_ptr<PendingEnds> ends;
    };

    void add(Entry entry);
    void wake();
    void emitWaiting();
    void emitOne(const Emission &emission);
    bool holdForCallback();
    Emission takeNext();

    std::deque<Entry> m_entries;
    bool m_isAwake = false; ///< an event is under way
    QMetaObject::Connection m_wakingWhileHeld;
    bool m_isHeld = false;    ///< until an event that is behind the callback's, which hears of an end first
    bool m_emitsSoon = false; ///< the event that is being handled emits at its end
};

} // namespace biz::host

#endif
