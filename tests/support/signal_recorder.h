#ifndef BIZ_TEST_SIGNAL_RECORDER_H
#define BIZ_TEST_SIGNAL_RECORDER_H

#include <functional>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <QtCore/QObject>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <support/held_locks.h>
#include <support/journal.h>
#include <support/virtual_time.h>

namespace biz::test {

/** One emission; the record is a copy made during it. */
template<typename Record>
struct Emission
{
    std::string signal;
    Record record{};
    const void *address = nullptr; ///< what the signal carried; null where it carries none
    int number = 0;                ///< the argument of signalQueueSize
    ThreadId thread = testThread;
    std::vector<std::string> heldLocks; ///< of those that the recorder watches
};

inline int tagOf(const model_Protocoldata &record)
{
    return static_cast<int>(record.nTag);
}

inline int tagOf(const model_OsdParam &record)
{
    return static_cast<int>(record.nTag);
}

/**
 * Records every signal of the workers that it is attached to, on the emitting thread.
 * Journal lines read "signalSendMessage 7" (the record's nTag), "signalQueueSize 3",
 * "signalInitCore".
 */
template<typename Worker, typename Record>
class SignalRecorder
{
public:
    using Event = Emission<Record>;

    explicit SignalRecorder(NamedLocks watched, Journal *journal = nullptr)
        : m_watched(std::move(watched))
        , m_journal(journal)
    {
    }

    void attach(Worker &worker)
    {
        connectRecord(worker, &Worker::signalSendMessage, "signalSendMessage");
        connectRecord(worker, &Worker::signalSendReceiveMessage, "signalSendReceiveMessage");
        connectRecord(worker, &Worker::signalSendMessageUipro, "signalSendMessageUipro");
        if constexpr (std::is_same_v<Worker, biz_CMDSWork>) {
            const auto queueSize = [this](int size) {
                Event event;
                event.signal = "signalQueueSize";
                event.number = size;
                add(std::move(event), "signalQueueSize " + std::to_string(size));
            };
            const auto initCore = [this] {
                Event event;
                event.signal = "signalInitCore";
                add(std::move(event), "signalInitCore");
            };
            QObject::connect(&worker, &Worker::signalQueueSize, &m_context, queueSize, Qt::DirectConnection);
            QObject::connect(&worker, &Worker::signalInitCore, &m_context, initCore, Qt::DirectConnection);
        }
    }

    /** Called inside every emission, after it has been recorded: the host's slot. */
    void onEmission(std::function<void(const Event &)> slot) { m_slot = std::move(slot); }

    /** False: the locks are not tried at each emission (many emissions, real threads). */
    void watchLocks(bool on) { m_watching = on; }

    std::vector<Event> events() const
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        return m_events;
    }

    std::vector<Event> eventsOf(const std::string &signal) const
    {
        std::vector<Event> matching;
        for (Event &event : events()) {
            if (event.signal == signal) {
                matching.push_back(std::move(event));
            }
        }
        return matching;
    }

    /** The nTag of each record that a signal carried, in order. */
    std::vector<int> tagsOf(const std::string &signal) const
    {
        std::vector<int> tags;
        for (const Event &event : eventsOf(signal)) {
            tags.push_back(tagOf(event.record));
        }
        return tags;
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const Event &event : events()) {
            names.push_back(event.signal);
        }
        return names;
    }

    void clear()
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_events.clear();
    }

private:
    void connectRecord(Worker &worker, void (Worker::*signal)(void *), const std::string &name)
    {
        const auto slot = [this, name](void *pointer) {
            Event event;
            event.signal = name;
            event.record = *static_cast<const Record *>(pointer);
            event.address = pointer;
            std::string line = name + " " + std::to_string(tagOf(event.record));
            add(std::move(event), std::move(line));
        };
        QObject::connect(&worker, signal, &m_context, slot, Qt::DirectConnection);
    }

    void add(Event event, std::string line)
    {
        event.thread = VirtualTime::currentThread();
        if (m_watching) {
            event.heldLocks = heldOf(m_watched);
        }
        if (m_journal != nullptr) {
            m_journal->add(std::move(line));
        }
        {
            const std::lock_guard<std::mutex> lock(m_guard);
            m_events.push_back(event);
        }
        if (m_slot) {
            m_slot(event);
        }
    }

    NamedLocks m_watched;
    Journal *m_journal;
    bool m_watching = true;
    std::function<void(const Event &)> m_slot;
    mutable std::mutex m_guard;
    std::vector<Event> m_events;
    QObject m_context;
};

using DeviceSignals = SignalRecorder<biz_CMDSWork, model_Protocoldata>;
using OsdSignals = SignalRecorder<biz_Osd_CMDSWork, model_OsdParam>;

} // namespace biz::test

#endif
