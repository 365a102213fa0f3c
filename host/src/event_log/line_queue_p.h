#ifndef BIZ_HOST_LINE_QUEUE_P_H
#define BIZ_HOST_LINE_QUEUE_P_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <byte_count_p.h>
#include <event_log/line_sink_p.h>

namespace biz::host {

/** Names a place that lines go to; everybody is none of them. */
using SinkId = quint64;
constexpr SinkId everybody = 0;

/** Lines on their way from the host's thread to the thread that writes them; bounded. */
class LineQueue
{
public:
    /** Whole lines that are meant for one place, or for all. */
    struct Batch
    {
        SinkId sink = everybody;
        QByteArray lines;
        std::shared_ptr<LineSink> begins; ///< a new place, whose first lines these are
    };

    struct Taken
    {
        std::vector<Batch> batches;
        qint64 lost = 0; ///< lines that had no room, told once
        quint64 upTo = 0;
    };

    /** A disk that is stuck for seconds costs no line; then memory is worth more. */
    static constexpr int mostBytes = 4 * 1024 * 1024;

    /** True when the queue had been empty: somebody is to look. */
    bool append(const QByteArray &line)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_appended;
        if (m_bytes + line.size() > mostBytes) {
            ++m_lost;
            return false;
        }
        const bool wasEmpty = m_batches.empty();
        if (!wasEmpty && m_batches.back().sink == everybody && !m_batches.back().begins) {
            m_batches.back().lines.append(line);
        } else {
            m_batches.push_back({everybody, line, nullptr});
        }
        m_bytes += byteCount(line);
        return wasEmpty;
    }

    /** What one place is told: it is small, and always has room. */
    bool append(Batch batch)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_appended;
        m_bytes += byteCount(batch.lines);
        m_batches.push_back(std::move(batch));
        return m_batches.size() == 1;
    }

    Taken takeAll()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Taken taken;
        taken.batches.swap(m_batches);
        taken.lost = std::exchange(m_lost, 0);
        taken.upTo = m_appended;
        m_bytes = 0;
        return taken;
    }

    void noteWritten(quint64 upTo)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_written = upTo;
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
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Batch> m_batches;
    int m_bytes = 0;
    qint64 m_lost = 0;
    quint64 m_appended = 0;
    quint64 m_written = 0;
};

} // namespace biz::host

#endif
