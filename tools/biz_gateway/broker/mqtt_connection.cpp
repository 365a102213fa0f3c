#include <biz_gateway/broker/mqtt_connection.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QPointer>

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>

#include <biz_gateway/broker/properties.h>

namespace biz::gateway {

namespace {

constexpr int atLeastOnce = 1;
constexpr int atMostOnce = 0;

/** How soon the thread notices that its connection is abandoned. */
constexpr int loopWaitMs = 200;
constexpr int packetsAtOnce = 1; ///< the library wants this number

/** From the attempt to the broker's consent. */
constexpr int openLimitMs = 15'000;

/** Publications that the broker has not confirmed. More would wait in the library. */
constexpr int mostUnconfirmed = 1000;

/** From here on a reason code of MQTT 5 is a refusal. */
constexpr int firstRefusal = 0x80;

/**
 * Where the system has the certificates of authorities. The library sets no TLS up without a file or a folder of them;
 * OpenSSL's own places, which differ by system, are looked at beside it.
 */
constexpr auto systemAuthorities = "/etc/ssl/certs";

/** The library counts its users, and is not to be left while there is another one. */
class Library
{
public:
    Library() { mosquitto_lib_init(); }
    ~Library() { mosquitto_lib_cleanup(); }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;
};

void useLibrary()
{
    static const Library library;
}

mosquitto *newClient(const QString &clientId, void *object)
{
    useLibrary();
    constexpr bool isNewSession = true;
    return mosquitto_new(clientId.toUtf8().constData(), isNewSession, object);
}

QString systemText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

bool isBroken(int socket)
{
    pollfd polled{socket, 0, 0};
    return ::poll(&polled, 1, 0) > 0 && (polled.revents & (POLLHUP | POLLERR)) != 0;
}

const char *textOrNull(const QByteArray &text)
{
    return text.isEmpty() ? nullptr : text.constData();
}

} // namespace

MqttConnection::MqttConnection(const BrokerSettings &settings, Introduction introduction, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_introduction(std::move(introduction))
    , m_client(newClient(settings.clientId, this), &mosquitto_destroy)
{
    prepare();
    m_sinceStart.start();
    m_thread = std::thread([this] { run(); });
}

MqttConnection::~MqttConnection()
{
    m_isAbandoned = true;
    m_inbox.close();
    m_thread.join();
}

void MqttConnection::prepare()
{
    mosquitto *const client = m_client.get();
    mosquitto_threaded_set(client, true);
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_int_option(client, MOSQ_OPT_SEND_MAXIMUM, mostUnconfirmed);
    const QByteArray user = m_settings.user.toUtf8();
    mosquitto_username_pw_set(client, textOrNull(user), textOrNull(m_settings.password));
    if (m_settings.usesTls) {
        prepareTls();
    }
    const Publication &will = m_introduction.will;
    mosquitto_will_set_v5(client, will.topic.toUtf8().constData(), static_cast<int>(will.payload.size()),
                          will.payload.constData(), atLeastOnce, will.isRetained, nullptr);
    connectCallbacks();
}

void MqttConnection::prepareTls()
{
    const QByteArray authorities = m_settings.authorities.toUtf8();
    const QByteArray certificate = m_settings.certificate.toUtf8();
    const QByteArray key = m_settings.key.toUtf8();
    const bool usesSystems = authorities.isEmpty();
    int code = mosquitto_int_option(m_client.get(), MOSQ_OPT_TLS_USE_OS_CERTS, usesSystems ? 1 : 0);
    if (code == MOSQ_ERR_SUCCESS) {
        code = mosquitto_tls_set(m_client.get(), textOrNull(authorities), usesSystems ? systemAuthorities : nullptr,
                                 textOrNull(certificate), textOrNull(key), nullptr);
    }
    if (code != MOSQ_ERR_SUCCESS) {
        m_refusal =
            QStringLiteral("the files of \"tls\" cannot be used: ") + QString::fromUtf8(mosquitto_strerror(code));
    }
}

void MqttConnection::connectCallbacks()
{
    mosquitto *const client = m_client.get();
    mosquitto_connect_v5_callback_set(client, [](mosquitto *, void *object, int code, int,
                                                 const mqtt5__property *list) { self(object).onConnect(code, list); });
    mosquitto_subscribe_v5_callback_set(client,
                                        [](mosquitto *, void *object, int, int count, const int *granted,
                                           const mqtt5__property *) { self(object).onSubscribe(count, granted); });
    mosquitto_disconnect_v5_callback_set(
        client, [](mosquitto *, void *object, int code, const mqtt5__property *) { self(object).onDisconnect(code); });
    mosquitto_message_v5_callback_set(client,
                                      [](mosquitto *, void *object, const mosquitto_message *message,
                                         const mqtt5__property *list) { self(object).onMessage(*message, list); });
    mosquitto_publish_v5_callback_set(client, [](mosquitto *, void *object, int number, int code,
                                                 const mqtt5__property *) { self(object).onPublish(number, code); });
    mosquitto_log_callback_set(
        client, [](mosquitto *, void *object, int level, const char *text) { self(object).onLog(level, text); });
}

// --- On the object's thread -------------------------------------------------------------------

int MqttConnection::publish(const Publication &publication, Care care)
{
    Properties properties;
    if (!publication.correlation.isEmpty()) {
        properties.addCorrelation(publication.correlation);
    }
    int number = 0;
    const int code = mosquitto_publish_v5(m_client.get(), &number, publication.topic.toUtf8().constData(),
                                          static_cast<int>(publication.payload.size()), publication.payload.constData(),
                                          care == Care::AtLeastOnce ? atLeastOnce : atMostOnce, publication.isRetained,
                                          properties.list());
    return code == MOSQ_ERR_SUCCESS ? number : 0;
}

void MqttConnection::unsubscribe()
{
    mosquitto_unsubscribe(m_client.get(), nullptr, m_introduction.will.topic.toUtf8().constData());
    for (const QString &filter : m_introduction.filters) {
        mosquitto_unsubscribe(m_client.get(), nullptr, filter.toUtf8().constData());
    }
}

void MqttConnection::close()
{
    if (mosquitto_disconnect_v5(m_client.get(), MQTT_RC_NORMAL_DISCONNECTION, nullptr) != MOSQ_ERR_SUCCESS) {
        m_isAbandoned = true;
    }
}

void MqttConnection::customEvent(QEvent * /*event*/)
{
    std::vector<std::function<void()>> calls;
    {
        const std::lock_guard<std::mutex> lock(m_postedMutex);
        calls.swap(m_posted);
    }
    const QPointer<MqttConnection> self(this); // a slot may destroy it
    for (const auto &call : calls) {
        if (!self) {
            return;
        }
        call();
    }
}

// --- On the connection's thread ---------------------------------------------------------------

// By a lock of its own: those inside Qt's queue of events are hidden from the thread sanitizer.
void MqttConnection::post(std::function<void()> call)
{
    const std::lock_guard<std::mutex> lock(m_postedMutex);
    m_posted.push_back(std::move(call));
    if (m_posted.size() == 1) {
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }
}

void MqttConnection::run()
{
    QString reason = m_refusal;
    // Without the TLS that was asked for, the library would send the password for everybody to read.
    if (reason.isEmpty()) {
        reason = connectAndServe();
    }
    const bool isCertificateRefused = m_tlsProblem.contains(QLatin1String("certificate verify failed"));
    post([this, end = ConnectionEnd{m_isTakenOver, isCertificateRefused, reason}] { Q_EMIT ended(end); });
}

/** Returns why the connection ended. */
QString MqttConnection::connectAndServe()
{
    const QByteArray host = m_settings.host.toUtf8();
    errno = 0;
    const int code =
        mosquitto_connect_bind_async(m_client.get(), host.constData(), m_settings.port, m_settings.keepAliveS, nullptr);
    const int systemError = errno;
    if (code == MOSQ_ERR_SUCCESS || code == MOSQ_ERR_CONN_PENDING) {
        noteBrokenOpening(systemError);
        return whyEnded(runLoop());
    }
    return code == MOSQ_ERR_ERRNO ? systemText(systemError) : whyEnded(code);
}

/** Returns the code with which the connection ended. */
int MqttConnection::runLoop()
{
    int code = MOSQ_ERR_SUCCESS;
    while (!m_isAbandoned && code == MOSQ_ERR_SUCCESS && m_refusal.isEmpty()) {
        errno = 0;
        code = mosquitto_loop(m_client.get(), loopWaitMs, packetsAtOnce);
        const int systemError = errno;
        if (code == MOSQ_ERR_ERRNO && systemError != 0) {
            m_refusal = systemText(systemError);
        } else if (code == MOSQ_ERR_SUCCESS) {
            noteBrokenOpening(systemError);
        }
        if (!m_isOpen && m_sinceStart.elapsed() > openLimitMs) {
            m_refusal = QStringLiteral("no answer within %1 s").arg(openLimitMs / 1000);
        }
    }
    return code;
}

/**
 * With TLS the library takes a connection that the system has ended for one that is still being made, and tries on
 * without a pause. `systemError` is what its last call has left behind.
 */
void MqttConnection::noteBrokenOpening(int systemError)
{
    if (!m_settings.usesTls || m_isOpen || !m_refusal.isEmpty() || !isBroken(mosquitto_socket(m_client.get()))) {
        return;
    }
    const bool isReason = systemError == ECONNREFUSED || systemError == ECONNRESET || systemError == ETIMEDOUT ||
                          systemError == EHOSTUNREACH || systemError == ENETUNREACH;
    m_refusal = isReason                 ? systemText(systemError)
                : m_tlsProblem.isEmpty() ? QStringLiteral("the connection was broken off")
                                         : m_tlsProblem;
}

QString MqttConnection::whyEnded(int code) const
{
    if (!m_refusal.isEmpty()) {
        return m_refusal;
    }
    if (!m_tlsProblem.isEmpty()) {
        return m_tlsProblem;
    }
    return QString::fromUtf8(mosquitto_strerror(code));
}

void MqttConnection::onConnect(int code, const mqtt5__property *properties)
{
    if (code != MQTT_RC_SUCCESS) {
        const QString more = reasonOf(properties);
        m_refusal = QStringLiteral("the broker refuses the gateway: ") +
                    (more.isEmpty() ? QString::fromUtf8(mosquitto_reason_string(code)) : more);
        return;
    }
    subscribe();
}

void MqttConnection::subscribe()
{
    // A command that was kept for whoever comes is nobody's wish any more; one that is sent to be kept is told apart.
    constexpr int ofCommands = MQTT_SUB_OPT_RETAIN_AS_PUBLISHED | MQTT_SUB_OPT_SEND_RETAIN_NEVER;
    const int ofWill = m_introduction.readsWill ? MQTT_SUB_OPT_SEND_RETAIN_ALWAYS : MQTT_SUB_OPT_SEND_RETAIN_NEVER;
    const auto subscribeTo = [this](const QString &filter, int options) {
        mosquitto_subscribe_v5(m_client.get(), nullptr, filter.toUtf8().constData(), atLeastOnce, options, nullptr);
    };
    m_subscriptionsLeft = static_cast<int>(m_introduction.filters.size()) + 1;
    subscribeTo(m_introduction.will.topic, ofWill);
    for (const QString &filter : m_introduction.filters) {
        subscribeTo(filter, ofCommands);
    }
}

void MqttConnection::onSubscribe(int count, const int *granted)
{
    for (int at = 0; at < count; ++at) {
        if (granted[at] >= firstRefusal) {
            m_refusal = QStringLiteral("the broker does not let the gateway subscribe: ") +
                        QString::fromUtf8(mosquitto_reason_string(granted[at]));
        }
    }
    m_subscriptionsLeft -= count;
    if (m_subscriptionsLeft <= 0 && m_refusal.isEmpty()) {
        m_isOpen = true;
        post([this] { Q_EMIT opened(); });
    }
}

void MqttConnection::onDisconnect(int code)
{
    m_isTakenOver = m_isTakenOver || code == MQTT_RC_SESSION_TAKEN_OVER;
    if (code >= firstRefusal && m_refusal.isEmpty()) {
        m_refusal =
            QStringLiteral("the broker ends the connection: ") + QString::fromUtf8(mosquitto_reason_string(code));
    }
}

void MqttConnection::onMessage(const mosquitto_message &message, const mqtt5__property *properties)
{
    Message received;
    received.topic = QString::fromUtf8(message.topic);
    received.payloadSize = message.payloadlen;
    if (message.payloadlen <= m_introduction.mostPayload) {
        received.payload = QByteArray(static_cast<const char *>(message.payload), message.payloadlen);
    }
    received.isRetained = message.retain;
    // What is too long stays so.
    received.responseTopic = responseTopicOf(properties).left(Message::longestResponseTopic + 1);
    received.correlation = correlationOf(properties).left(Message::longestCorrelation + 1);
    received.expiresInS = expiryOf(properties);
    if (m_inbox.put(std::move(received))) {
        post([this] { Q_EMIT this->received(m_inbox.take()); });
    }
}

void MqttConnection::onPublish(int number, int code)
{
    const QString refusal = code >= firstRefusal ? QString::fromUtf8(mosquitto_reason_string(code)) : QString();
    post([this, number, refusal] { Q_EMIT published(number, refusal); });
}

/** What goes wrong with TLS is told nowhere else. */
void MqttConnection::onLog(int level, const char *text)
{
    if (level == MOSQ_LOG_ERR && m_tlsProblem.isEmpty()) {
        m_tlsProblem = QString::fromUtf8(text).section(QLatin1Char(':'), -1).trimmed();
    }
}

} // namespace biz::gateway
