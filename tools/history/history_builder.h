#ifndef BIZ_HISTORY_HISTORY_BUILDER_H
#define BIZ_HISTORY_HISTORY_BUILDER_H

#include <limits>
#include <map>
#include <set>

#include <QtCore/QHash>

#include <history/event.h>
#include <history/history.h>
#include <model/model_protocoldata.h>

namespace biz::history {

/** A line of an error log. */
struct LoggedReply
{
    double atMs = never;
    QString loggedName;  ///< the model as the log names it
    int deviceType = -1; ///< -1: of no model that has rules
    QString model;
    model_Protocoldata reply;
};

/** Makes one history of the lines of any number of files. */
class HistoryBuilder
{
public:
    static constexpr std::size_t all = std::numeric_limits<std::size_t>::max();

    /**
     * Of each device so many commands are kept, and never more than twice as many held: memory is bounded
     * then, whatever comes. What is forgotten is counted in Device::forgotten.
     */
    explicit HistoryBuilder(std::size_t keptCommands = all)
        : m_kept(keptCommands)
    {
    }

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

    /** A copy of what has been read so far, as take() would have it. */
    History snapshot() const;

private:
    struct Place
    {
        int device = 0;
        std::size_t command = 0;
    };

    /** A run that goes on: the clock by which it counts, and where its commands are. */
    struct OpenRun
    {
        int run = 0;
        double startMs = never; ///< what `atMs` counts from
        QHash<quint64, Place> commands;
        int onlyDevice = -1;
        bool hasCommands = false;
    };

    bool isBounded() const { return m_kept != all; }
    double timeOf(const Event &event) const;
    void beginRun(const Event &event);
    bool belongsToOpenRun(const Event &event) const;
    void closeLink(double atMs);
    bool repeatsStart(const Event &event) const;
    void learnFrom(const Event &start);
    void continueRun(const Event &event);
    void readKind(const Event &event, double atMs);
    int deviceOf(const Event &event);
    int placeOf(const Event &event);
    int deviceNamed(const QString &key, const Device &made);
    Command *commandOf(const Event &event, double atMs);
    int nameOf(const Event &event);
    void readSent(const Event &event, double atMs);
    void readReply(const Event &event, double atMs);
    void readEnd(const Event &event, double atMs);
    void readLink(const Event &event, double atMs);
    void readStanding(const Standing &standing, double atMs);
    void addTrouble(const Event &event, double atMs);
    void addRefusal(Device &device, const Refusal &refusal, const model_Protocoldata &reply, int deviceType);
    void reach(double atMs);
    void closeCommands();
    void forgetEarly(Device &device);
    void forgetCommands(Device &device);
    void forgetRefusal(Device &device);

    std::size_t m_kept;
    History m_history;
    OpenRun m_open;
    int m_current = -1; ///< the device that the event which is read is about
    bool m_hasRun = false;
    bool m_isFirstOfFile = false;
    quint64 m_lineNumber = 0;
    QHash<QString, int> m_devices; ///< by key
    QHash<QString, int> m_names;
    std::vector<std::set<QByteArray>> m_shapes;             ///< of each device: those that are known
    std::vector<std::map<QString, std::size_t>> m_refusals; ///< of each device: by clause
    std::multimap<QByteArray, double> m_rejected;           ///< when a reply was refused, for the error logs' lines
};

} // namespace biz::history

#endif
