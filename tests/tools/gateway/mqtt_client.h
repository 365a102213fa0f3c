#ifndef BIZ_TEST_MQTT_CLIENT_H
#define BIZ_TEST_MQTT_CLIENT_H

#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

struct mosquitto;

namespace biz::test {

/** A message that a client got. */
struct Got
{
    QString topic;
    QByteArray payload;
    QByteArray correlation;
    bool isRetained = false;
    std::chrono::steady_clock::time_point at;

    QJsonObject json() const;
};

/** What a client sends beside topic and payload. */
struct Extras
{
    QString responseTopic;
    QByteArray correlation;
    int expiresInS = -1; ///< negative: it does not
    bool isRetained = false;
};

/** Where and as whom a client connects. */
struct ClientSettings
{
    quint16 port = 0;
    QString user;
    QString password;
    QString authorities; ///< not empty: with TLS
    QString clientId;
    QString filter = QStringLiteral("#"); ///< what it subscribes to
};

/** A client of a broker, made of its library and nothing of the gateway's. */
class MqttClient
{
public:
    explicit MqttClient(const ClientSettings &settings);
    ~MqttClient();
    MqttClient(const MqttClient &) = delete;
    MqttClient &operator=(const MqttClient &) = delete;

    /** Has the broker's consent to the subscription; again after the broker was restarted. */
    bool waitUntilReady();

    void publish(const QString &topic, const QByteArray &payload, const Extras &extras = {});

    /** All that has come since the last call; it is found no more. */
    std::vector<Got> take();

    /** All that came on a topic so far. */
    std::vector<Got> on(const QString &topic) const;

    /** Waits for a message on the topic whose JSON has the member; an empty object when none comes. */
    QJsonObject waitFor(const QString &topic, const QString &key, const QString &value);

    /** Waits until so many messages have come on the topic. */
    bool waitForCount(const QString &topic, std::size_t count);

    /** The broker's answer to the last publication; negative before it. */
    int lastAnswer() const;

    /** From here on nothing that came before is found. */
    void forget();

private:
    static void connectCallbacks(mosquitto *client);

    const QByteArray m_filter;
    std::unique_ptr<mosquitto, void (*)(mosquitto *)> m_client;
    mutable std::mutex m_mutex;
    std::vector<Got> m_got; ///< from here on guarded by m_mutex
    bool m_isReady = false;
    int m_lastAnswer = -1;
};

} // namespace biz::test

#endif
