#ifndef BIZ_GATEWAY_MQTT_CONNECTION_H
#define BIZ_GATEWAY_MQTT_CONNECTION_H

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <biz_gateway/broker/message.h>
#include <biz_gateway/broker/message_inbox.h>
#include <biz_gateway/config/gateway_config.h>

struct mosquitto;
struct mosquitto_message;
struct mqtt5__property; // NOLINT(bugprone-reserved-identifier): the library's own name

namespace biz::gateway {

/** How a connection ended. */
struct ConnectionEnd
{
    bool isTakenOver = false;          ///< another client has connected with the same client id
    bool isCertificateRefused = false; ///< the broker's
    QString reason;
};

/** What a client says of itself when it connects. */
struct Introduction
{
    Publication will;       ///< its topic is subscribed to, so that a rival is heard of
    bool readsWill = false; ///< what is kept on that topic is wanted as well
    QStringList filters;    ///< of commands
    qint64 mostPayload = 0; ///< of a message that is taken
};

/**
 * One connection to a broker, from the attempt to its end. The broker's library works on a thread of its own, so that
 * a name that is looked up, or a broker that is slow, holds up nothing else; all signals leave on the object's thread.
 * Each connection begins a new session: what is not delivered by its end is the owner's to send again.
 */
class MqttConnection : public QObject
{
    Q_OBJECT

public:
    MqttConnection(const BrokerSettings &settings, Introduction introduction, QObject *parent = nullptr);

    /** Ends the connection without saying good-bye, so that the broker publishes the will. */
    ~MqttConnection() override;

    enum class Care {
        AtMostOnce,
        AtLeastOnce,
    };

    /** Its number, for published(); 0 when the connection does not take it. */
    int publish(const Publication &publication, Care care);

    /** Asks for no further message; those that are on their way come still. */
    void unsubscribe();

    /** Says good-bye once everything is on its way; ended() follows. The will is not published. */
    void close();

Q_SIGNALS:
    /** The broker has taken the subscriptions too. */
    void opened();
    void received(const QVector<biz::gateway::Message> &messages);

    /** With Care::AtLeastOnce the broker has it, or has refused it and says why; else it has left. */
    void published(int number, const QString &refusal);

    /** Nothing follows. */
    void ended(const biz::gateway::ConnectionEnd &end);

protected:
    /** Makes the calls that were posted. */
    void customEvent(QEvent *event) override;

private:
    void prepare();
    void prepareTls();
    void connectCallbacks();
    static MqttConnection &self(void *object) { return *static_cast<MqttConnection *>(object); }
    void run();
    QString connectAndServe();
    int runLoop();
    void noteBrokenOpening(int systemError);
    void subscribe();
    QString whyEnded(int code) const;

    // The library's callbacks, on the thread.
    void onConnect(int code, const mqtt5__property *properties);
    void onSubscribe(int count, const int *granted);
    void onDisconnect(int code);
    void onMessage(const mosquitto_message &message, const mqtt5__property *properties);
    void onPublish(int number, int code);
    void onLog(int level, const char *text);

    /** Calls `call` on the object's thread, as long as there is the object. */
    void post(std::function<void()> call);

    const BrokerSettings m_settings;
    const Introduction m_introduction;
    std::unique_ptr<mosquitto, void (*)(mosquitto *)> m_client;
    MessageInbox m_inbox;
    std::atomic<bool> m_isAbandoned{false};
    std::mutex m_postedMutex;
    std::vector<std::function<void()>> m_posted; ///< guarded by m_postedMutex

    // Of the thread.
    QElapsedTimer m_sinceStart;
    bool m_isOpen = false;
    int m_subscriptionsLeft = 0;
    QString m_refusal; ///< why there is no connection: what the broker said, or what is wrong here
    QString m_tlsProblem;
    bool m_isTakenOver = false;

    std::thread m_thread; ///< last: it uses all of the above
};

} // namespace biz::gateway

Q_DECLARE_METATYPE(biz::gateway::ConnectionEnd)

#endif
