#include <biz_gateway/limits/client_limits.h>

#include <algorithm>

namespace biz::gateway {

namespace {

constexpr double millisecondsPerSecond = 1000.0;

} // namespace

ClientLimits::ClientLimits(const ClientAllowance &allowance)
    : m_allowance(allowance)
{
    m_clock.start();
}

QString ClientLimits::refusal(const QString &client, qint64 payloadBytes)
{
    Bucket &bucket = bucketOf(client, m_clock.elapsed());
    if (bucket.messages < 1.0) {
        return QStringLiteral("at most %1 messages a second expected of a client, %2 at once")
            .arg(m_allowance.perSecond)
            .arg(m_allowance.burst);
    }
    bucket.messages -= 1.0;
    if (payloadBytes > m_allowance.payloadBytes) {
        return QStringLiteral("a payload of at most %1 bytes expected, not %2")
            .arg(m_allowance.payloadBytes)
            .arg(payloadBytes);
    }
    return {};
}

QString ClientLimits::refusalOfPending(const QString &client, int others) const
{
    return m_pending.value(client) + others < m_allowance.pending
               ? QString()
               : QStringLiteral("at most %1 commands of a client may be pending").arg(m_allowance.pending);
}

void ClientLimits::noteEnded(const QString &client)
{
    const auto found = m_pending.find(client);
    if (found != m_pending.end() && --*found == 0) {
        m_pending.erase(found);
    }
}

ClientLimits::Bucket &ClientLimits::bucketOf(const QString &client, qint64 nowMs)
{
    const double full = m_allowance.burst;
    auto found = m_buckets.find(client);
    if (found == m_buckets.end()) {
        if (m_buckets.size() >= mostClients) {
            forgetQuietest();
        }
        found = m_buckets.insert(client, {full, nowMs});
    }
    const double gained =
        static_cast<double>(nowMs - found->filledAtMs) / millisecondsPerSecond * m_allowance.perSecond;
    found->messages = std::min(full, found->messages + gained);
    found->filledAtMs = nowMs;
    return *found;
}

void ClientLimits::forgetQuietest()
{
    const auto quietest =
        std::min_element(m_buckets.begin(), m_buckets.end(),
                         [](const Bucket &left, const Bucket &right) { return left.filledAtMs < right.filledAtMs; });
    m_buckets.erase(quietest);
}

} // namespace biz::gateway
