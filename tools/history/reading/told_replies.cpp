#include <history/reading/told_replies.h>

#include <algorithm>

namespace biz::history {

namespace {

/** The error log and the event log tell of one reply within this time. */
constexpr double sameReplyMs = 2000.0;

/** What tells a reply from others in the error log: bytes 1 to 5 of its head, and the size of its payload. */
QByteArray loggedBytes(const model_Protocoldata &reply)
{
    constexpr int first = 1;
    constexpr int count = 5;
    return QByteArray(reinterpret_cast<const char *>(reply.ucHead) + first, count) +
           QByteArray::number(reply.baData.size());
}

} // namespace

void ToldReplies::add(const model_Protocoldata &reply, double atMs)
{
    m_refusedAtMs.emplace(loggedBytes(reply), atMs);
}

bool ToldReplies::take(const LoggedReply &logged)
{
    const auto [first, last] = m_refusedAtMs.equal_range(loggedBytes(logged.reply));
    const auto same = std::find_if(
        first, last, [&logged](const auto &refused) { return qAbs(refused.second - logged.atMs) < sameReplyMs; });
    if (same == last) {
        return false;
    }
    m_refusedAtMs.erase(same);
    return true;
}

} // namespace biz::history
