#ifndef BIZ_GATEWAY_CLIENT_LIMITS_H
#define BIZ_GATEWAY_CLIENT_LIMITS_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QString>

#include <biz_gateway/config/gateway_config.h>

namespace biz::gateway {

/** What each client has used of its allowance. */
class ClientLimits
{
public:
    /** Clients that are told apart; those that have been quiet for longest are forgotten. */
    static constexpr int mostClients = 1000;

    explicit ClientLimits(const ClientAllowance &allowance);

    void setAllowance(const ClientAllowance &allowance) { m_allowance = allowance; }

    /** Counts a message of this size; says what it exceeds, or nothing. */
    QString refusal(const QString &client, qint64 payloadBytes);

    /** Says why one more command may not be pending, beside `others` that are about to be; or nothing. */
    QString refusalOfPending(const QString &client, int others) const;

    void noteGiven(const QString &client) { ++m_pending[client]; }
    void noteEnded(const QString &client);

private:
    /** Messages that a client may send at once; it fills up as time passes. */
    struct Bucket
    {
        double messages = 0.0;
        qint64 filledAtMs = 0;
    };

    Bucket &bucketOf(const QString &client, qint64 nowMs);
    void forgetQuietest();

    ClientAllowance m_allowance;
    QElapsedTimer m_clock;
    QHash<QString, Bucket> m_buckets;
    QHash<QString, int> m_pending;
};

} // namespace biz::gateway

#endif
