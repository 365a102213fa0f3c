#ifndef BIZ_SCENARIO_OSD_MODEL_H
#define BIZ_SCENARIO_OSD_MODEL_H

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include <QtCore/QString>

namespace biz::scenario {

using std::chrono::seconds;

struct Waiting
{
    int number = 0;
    int waitMs = 0;
};

/** One device: the place in the order of registration, the flag and the queue. */
struct Slot
{
    QString ip;
    bool isFree = true;
    std::deque<Waiting> waiting;
};

/**
 * The channel in terms of its rules: it is told of each holding of a lock what that holding
 * was for, and says what must have changed. It knows records by their numbers.
 */
class OsdModel
{
public:
    void enqueue(const QString &ip, Waiting command);
    void setFlag(const QString &ip, bool value);
    void clear(int worker);
    void handOver(int reply) { m_replies.push_back(reply); }
    std::deque<int> take(int worker, seconds now);
    int giveUp(int worker, seconds now);
    std::optional<int> takeReply();

    const std::vector<Slot> &slots() const { return m_slots; }
    const std::deque<int> &replies() const { return m_replies; }
    const std::vector<int> &discarded() const { return m_discarded; }
    std::size_t longestQueue() const;

private:
    struct Sent
    {
        seconds at{0};
        seconds wait{0};
    };

    Slot *find(const QString &ip);

    std::vector<Slot> m_slots;
    std::deque<int> m_replies;
    std::vector<int> m_discarded;
    std::map<int, std::map<QString, Sent>> m_sent; ///< by worker: each knows only what it sent itself
};

} // namespace biz::scenario

#endif
