#ifndef BIZ_HOST_EVENT_QUEUE_P_H
#define BIZ_HOST_EVENT_QUEUE_P_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <host/event.h>

#include <event_log/line_sink_p.h>

namespace biz::host {

/** Names a place that lines go to; everybody is none of them. */
using SinkId = quint64;
constexpr SinkId everybody = 0;

/**
 * Events on their way from the host's thread to the thread that makes lines of them, and writes those; bounded. Lines
 * are made many at a time: between the steps of a command each would find its code and data out of the caches.
 */
class EventQueue
{
public:
    /** What one place is told, or all are: how things stand, or what happened. */
    struct Batch
    {
        SinkId sink = everybody;
        QByteArray head; ///< whole lines
        std::vector<Event> events;
        std::shared_ptr<LineSink> begins; ///< a new place, whose first lines these are
    };

    struct Taken
    {
        std::vector<Batch> batches;
        qint64 lost = 0; ///< events that had no room, told once
        quint64 upTo = 0;
    };

    /** A disk that is stuck for seconds costs no event; then memory is worth more. */
    static constexpr qint64 mostBytes = qint64{4} * 1024 * 1024;

    /** True when somebody is to be told to look: who has found something lately looks again by himself. */
    bool append(const Event &event)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_appended;
        const qint64 size = roughSizeOf(event);
        if (m_bytes + size > mostBytes) {
            ++m_lost;
            return false;
        }
        if (m_batches.empty() || m_batches.back().sink != everybody || m_batches.back().begins) {
            m_batches.emplace_back();
            m_batches.back().events.swap(m_spare);
            m_batches.back().events.reserve(usualEvents);
        }
        m_batches.back().events.push_back(event);
        m_bytes += size;
        return !std::exchange(m_isWatched, true);
    }

    /** What one place is told: it is small, and always has room. */
    bool append(Batch batch)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_appended;
        m_bytes += batch.head.size();
        m_batches.push_back(std::move(batch));
        return !std::exchange(m_isWatched, true);
    }

    /** Who has found something looks again, and who has not is told when there is. */
    Taken takeAll()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Taken taken;
        taken.batches.swap(m_batches);
        taken.lost = std::exchange(m_lost, 0);
        taken.upTo = m_appended;
        m_bytes = 0;
        m_isWatched = !taken.batches.empty();
        return taken;
    }

    /** All that was taken has been written. Its room goes to the next batch, unless a burst has made it large. */
    void noteWritten(Taken taken)
    {
        std::vector<Event> room;
        if (!taken.batches.empty() && taken.batches.back().events.capacity() <= mostSpareEvents) {
            room.swap(taken.batches.back().events);
            room.clear();
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_spare.swap(room);
        m_written = taken.upTo;
        m_changed.notify_all();
    }

    /** Waits until all that has been appended by now is written; false at the deadline. */
    bool waitUntilWritten(std::chrono::milliseconds deadline)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        const quint64 upTo = m_appended;
        return m_changed.wait_for(lock, deadline, [&] { return m_written >= upTo; });
    }

private:
    /** A host that is not busy makes no more until somebody looks. */
    static constexpr std::size_t usualEvents = 64;
    static constexpr std::size_t mostSpareEvents = 16 * usualEvents;

    /** Of the event and of its line, which exist one after the other. */
    static qint64 roughSizeOf(const Event &event)
    {
        constexpr qint64 hexDigitsOfByte = 3;
        constexpr qint64 bytesOfNote = 128;
        return qint64{sizeof event} + hexDigitsOfByte * (event.head.size() + event.data.size()) + event.text.size() +
               event.reason.size() + bytesOfNote * event.history.size();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Batch> m_batches;
    std::vector<Event> m_spare; ///< empty, with room
    bool m_isWatched = false;   ///< somebody is going to look
    qint64 m_bytes = 0;
    qint64 m_lost = 0;
    quint64 m_appended = 0;
    quint64 m_written = 0;
};

} // namespace biz::host

#endif
