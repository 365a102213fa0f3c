#include <scenario/osd_model.h>

#include <algorithm>

namespace biz::scenario {

namespace {

constexpr int millisecondsPerSecond = 1000;

} // namespace

Slot *OsdModel::find(const QString &ip)
{
    const auto slot = std::find_if(m_slots.begin(), m_slots.end(), [&ip](const Slot &other) { return other.ip == ip; });
    return slot == m_slots.end() ? nullptr : &*slot;
}

void OsdModel::enqueue(const QString &ip, Waiting command)
{
    if (find(ip) == nullptr) {
        m_slots.push_back({ip, true, {}});
    }
    find(ip)->waiting.push_back(command);
}

/** Nobody becomes known by a reply. */
void OsdModel::setFlag(const QString &ip, bool value)
{
    if (Slot *const slot = find(ip)) {
        slot->isFree = value;
    }
}

/** Replies stay, and so does what the other workers have sent. */
void OsdModel::clear(int worker)
{
    for (const Slot &slot : m_slots) {
        for (const Waiting &command : slot.waiting) {
            m_discarded.push_back(command.number);
        }
    }
    m_slots.clear();
    m_sent[worker].clear();
}

/** One command of everybody who is free and has one, in the order of the slots. */
std::deque<int> OsdModel::take(int worker, seconds now)
{
    std::deque<int> taken;
    for (Slot &slot : m_slots) {
        if (slot.isFree && !slot.waiting.empty()) {
            const Waiting command = slot.waiting.front();
            slot.waiting.pop_front();
            slot.isFree = false;
            m_sent[worker][slot.ip] = {now, seconds(command.waitMs / millisecondsPerSecond)};
            taken.push_back(command.number);
        }
    }
    return taken;
}

/** Frees whoever has waited; how many that are. */
int OsdModel::giveUp(int worker, seconds now)
{
    int freed = 0;
    for (Slot &slot : m_slots) {
        const Sent sent = m_sent[worker][slot.ip];
        if (!slot.isFree && now >= sent.at + sent.wait) {
            slot.isFree = true;
            ++freed;
        }
    }
    return freed;
}

std::optional<int> OsdModel::takeReply()
{
    if (m_replies.empty()) {
        return std::nullopt;
    }
    const int reply = m_replies.front();
    m_replies.pop_front();
    return reply;
}

std::size_t OsdModel::longestQueue() const
{
    std::size_t longest = 0;
    for (const Slot &slot : m_slots) {
        longest = std::max(longest, slot.waiting.size());
    }
    return longest;
}

} // namespace biz::scenario
