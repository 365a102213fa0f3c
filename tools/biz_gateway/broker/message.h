#ifndef BIZ_GATEWAY_MESSAGE_H
#define BIZ_GATEWAY_MESSAGE_H

#include <optional>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace biz::gateway {

/** What comes from a broker. */
struct Message
{
    /** Most clients have one subscription, below which they are answered. What is longer comes cut, and is refused. */
    static constexpr int longestResponseTopic = 1024;
    static constexpr int longestCorrelation = 1024;

    QString topic;
    QByteArray payload;     ///< empty when it is longer than what is taken
    qint64 payloadSize = 0; ///< what was sent
    bool isRetained = false;
    QString responseTopic;
    QByteArray correlation;
    std::optional<quint32> expiresInS;
};

/** What goes to a broker. */
struct Publication
{
    QString topic;
    QByteArray payload;
    bool isRetained = false;
    QByteArray correlation;
};

} // namespace biz::gateway

#endif
