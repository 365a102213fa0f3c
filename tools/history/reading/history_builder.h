#ifndef BIZ_HISTORY_HISTORY_BUILDER_H
#define BIZ_HISTORY_HISTORY_BUILDER_H

#include <QtCore/QHash>

#include <history/event.h>
#include <history/history.h>
#include <history/reading/bounds.h>
#include <history/reading/device_book.h>
#include <history/reading/run_book.h>
#include <history/reading/told_replies.h>

namespace biz::history {

/** Makes one history of the lines of any number of files. */
class HistoryBuilder
{
public:
    /**
     * Of each device so many commands are kept, and never more than twice as many held: memory is bounded
     * then, whatever comes. What is forgotten is counted in Device::forgotten.
     */
    explicit HistoryBuilder(std::size_t keptCommands = Bounds::all)
        : m_bounds{keptCommands}
    {
    }
    HistoryBuilder(const HistoryBuilder &) = delete;
    HistoryBuilder &operator=(const HistoryBuilder &) = delete;

    /** What is read next is of this file. */
    void beginFile(const QString &name);

    /** A line of an event log or a recording; false when it is none, which is noted. */
    bool readEventLine(const QByteArray &json);

    void add(const Event &event);

    /** A line of an error log, after all events: a reply that they tell of as well counts once. */
    void add(const LoggedReply &logged);

    /** A line that was not understood. */
    void noteBadLine();

    /** What has been read so far; the builder is of no further use. */
    History take();

    /** What has been read so far, while more is to come: the last state of a link has no end yet. */
    const History &soFar() const { return m_history; }

    /** How far the wall clock of the last line is ahead of its time, which a steady clock tells. */
    double clockAheadMs() const { return m_clockAheadMs; }

    /** A copy of what has been read so far, as take() would have it. */
    History snapshot() const;

private:
    void readKind(const Event &event, double atMs);
    void readSent(const Event &event, double atMs);
    void readReply(const Event &event, Incident::Kind kind, double atMs);
    void readRejection(const Event &event, double atMs);
    void readEnd(const Event &event, double atMs);
    void readLink(const Event &event, double atMs);
    void readStanding(const Standing &standing, double atMs);
    void readTrouble(const Event &event, double atMs);

    Device &deviceOf(const Event &event);
    Command &commandOf(const Event &event, double atMs);
    int placeOf(const Event &event);
    int nameOf(const QString &name);
    void reach(double atMs);

    const Bounds m_bounds;
    History m_history;
    DeviceBook m_devices{&m_history, m_bounds};
    RunBook m_runs{&m_history, &m_devices, m_bounds};
    ToldReplies m_refused;
    QHash<QString, int> m_names;
    int m_current = -1; ///< the device that the event which is read is about
    quint64 m_lineNumber = 0;
    double m_clockAheadMs = 0.0;
};

} // namespace biz::history

#endif
