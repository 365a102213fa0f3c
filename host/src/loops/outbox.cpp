#include <loops/outbox_p.h>

#include <utility>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtCore/QScopeGuard>

namespace biz::host {

namespace {

constexpr QEvent::Type wakeEvent = QEvent::User;
constexpr auto releaseEvent = static_cast<QEvent::Type>(QEvent::User + 1);

} // namespace

Outbox::Outbox(QObject *parent)
    : QObject(parent)
{
}

void Outbox::post(Emission emission)
{
    add({std::move(emission), nullptr});
}

void Outbox::post(std::shared_ptr<PendingEnds> ends)
{
    if (!ends->isEmpty()) {
        add({{}, std::move(ends)});
    }
}

void Outbox::tellCallbacks()
{
    for (const Entry &entry : m_entries) {
        if (entry.ends) {
            entry.ends->tellCallbacks();
        }
    }
    m_entries.clear();
}

void Outbox::customEvent(QEvent *event)
{
    if (event->type() == releaseEvent) {
        m_isHeld = false;
        disconnect(m_wakingWhileHeld);
    } else {
        m_isAwake = false;
    }
    emitWaiting();
}

void Outbox::add(Entry entry)
{
    m_entries.push_back(std::move(entry));
    if (!m_emitsSoon) {
        wake();
    }
}

// Each event wakes the thread with two system calls, hence one for all that waits.
void Outbox::wake()
{
    if (!m_isAwake) {
        m_isAwake = true;
        QCoreApplication::postEvent(this, new QEvent(wakeEvent));
    }
}

/** As many emissions as wait now, since slots may post more without end. */
void Outbox::emitWaiting()
{
    // The slots may destroy the host, and this object with it.
    const QPointer<Outbox> self(this);
    bool isEnd = false;
    for (std::size_t left = m_entries.size(); self && !isEnd && left > 0 && !m_entries.empty(); --left) {
        if (m_isHeld || holdForCallback()) {
            return;
        }
        isEnd = m_entries.front().ends != nullptr;
        const Emission emission = takeNext();
        emitOne(emission);
    }
    if (self && !m_entries.empty()) {
        wake();
    }
}

/**
 * A slot that runs an event loop of its own gets the rest from there, by an event that is posted when that
 * loop begins a turn: an event in advance would wake the thread for nothing where no slot does so. GLib's loops look at
 * what was posted before they began only when they are woken.
 */
void Outbox::emitOne(const Emission &emission)
{
    auto *const dispatcher = QAbstractEventDispatcher::instance();
    bool isWoken = false;
    const auto wakeForRest = [this, dispatcher, &isWoken] {
        if (!m_entries.empty()) {
            wake();
        }
        if (!std::exchange(isWoken, true)) {
            dispatcher->wakeUp();
        }
    };
    const auto beforeWait = connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, wakeForRest);
    const auto beforeTurn = connect(dispatcher, &QAbstractEventDispatcher::awake, this, wakeForRest);
    // Also when a slot throws, which an application's notify() may catch.
    const auto disconnectBoth = qScopeGuard([&beforeWait, &beforeTurn] {
        disconnect(beforeWait);
        disconnect(beforeTurn);
    });
    emission();
}

/**
 * Whether the next thing is an end whose own callback hears of it first: by an event before ours. A callback that runs
 * an event loop of its own gets ours there, too.
 */
bool Outbox::holdForCallback()
{
    const std::shared_ptr<PendingEnds> ends = m_entries.front().ends;
    if (!ends || !ends->tellNextCallback()) {
        return false;
    }
    m_isHeld = true;
    auto *const dispatcher = QAbstractEventDispatcher::instance();
    m_wakingWhileHeld =
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [dispatcher] { dispatcher->wakeUp(); });
    QCoreApplication::postEvent(this, new QEvent(releaseEvent));
    return true;
}

Outbox::Emission Outbox::takeNext()
{
    Entry &front = m_entries.front();
    const std::shared_ptr<PendingEnds> ends = front.ends;
    Emission emission = ends ? ends->takeNext() : std::move(front.emission);
    if (!ends || ends->isEmpty()) {
        m_entries.pop_front();
    }
    return emission;
}

} // namespace biz::host
