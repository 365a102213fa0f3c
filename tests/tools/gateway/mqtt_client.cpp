#include "mqtt_client.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <QtCore/QJsonDocument>

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <host/support/wait_for.h>

namespace biz::test {

QJsonObject Got::json() const
{
    return QJsonDocument::fromJson(payload).object();
}

MqttClient::MqttClient(const ClientSettings &settings)
    : m_filter(settings.filter.toUtf8())
    , m_client(nullptr, &mosquitto_destroy)
{
    mosquitto_lib_init();
    const QByteArray id = settings.clientId.toUtf8();
    m_client.reset(mosquitto_new(id.isEmpty() ? nullptr : id.constData(), true, this));
    mosquitto *const client = m_client.get();
    mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_reconnect_delay_set(client, 1, 1, false);
    if (!settings.user.isEmpty()) {
        mosquitto_username_pw_set(client, settings.user.toUtf8().constData(), settings.password.toUtf8().constData());
    }
    if (!settings.authorities.isEmpty()) {
        mosquitto_tls_set(client, settings.authorities.toUtf8().constData(), nullptr, nullptr, nullptr, nullptr);
    }
    connectCallbacks(client);
    constexpr int keepAliveS = 60;
    mosquitto_connect_async(client, "127.0.0.1", settings.port, keepAliveS);
    mosquitto_loop_start(client);
}

MqttClient::~MqttClient()
{
    mosquitto_disconnect(m_client.get());
    mosquitto_loop_stop(m_client.get(), false); // not cancelled, which may leave a lock of the library taken
    m_client.reset();
    mosquitto_lib_cleanup();
}

void MqttClient::connectCallbacks(mosquitto *client)
{
    mosquitto_connect_v5_callback_set(
        client, [](mosquitto *self, void *object, int code, int, const mosquitto_property *) {
            if (code == 0) {
                const QByteArray &filter = static_cast<MqttClient *>(object)->m_filter;
                mosquitto_subscribe_v5(self, nullptr, filter.constData(), 1, MQTT_SUB_OPT_RETAIN_AS_PUBLISHED, nullptr);
            }
        });
    mosquitto_subscribe_callback_set(client, [](mosquitto *, void *object, int, int, const int *) {
        auto &self = *static_cast<MqttClient *>(object);
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        self.m_isReady = true;
    });
    mosquitto_disconnect_callback_set(client, [](mosquitto *, void *object, int) {
        auto &self = *static_cast<MqttClient *>(object);
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        self.m_isReady = false;
    });
    mosquitto_publish_v5_callback_set(client, [](mosquitto *, void *object, int, int code, const mosquitto_property *) {
        auto &self = *static_cast<MqttClient *>(object);
        const std::lock_guard<std::mutex> lock(self.m_mutex);
        self.m_lastAnswer = code;
    });
    mosquitto_message_v5_callback_set(
        client, [](mosquitto *, void *object, const mosquitto_message *message, const mosquitto_property *list) {
            auto &self = *static_cast<MqttClient *>(object);
            Got got{QString::fromUtf8(message->topic),
                    QByteArray(static_cast<const char *>(message->payload), message->payloadlen),
                    {},
                    message->retain,
                    std::chrono::steady_clock::now()};
            void *data = nullptr;
            uint16_t size = 0;
            if (mosquitto_property_read_binary(list, MQTT_PROP_CORRELATION_DATA, &data, &size, false) != nullptr) {
                got.correlation = QByteArray(static_cast<const char *>(data), size);
                std::free(data);
            }
            const std::lock_guard<std::mutex> lock(self.m_mutex);
            self.m_got.push_back(std::move(got));
        });
}

bool MqttClient::waitUntilReady()
{
    return biz::test::waitFor([this] {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_isReady;
    });
}

void MqttClient::publish(const QString &topic, const QByteArray &payload, const Extras &extras)
{
    mosquitto_property *list = nullptr;
    if (!extras.responseTopic.isEmpty()) {
        mosquitto_property_add_string(&list, MQTT_PROP_RESPONSE_TOPIC, extras.responseTopic.toUtf8().constData());
    }
    if (!extras.correlation.isEmpty()) {
        mosquitto_property_add_binary(&list, MQTT_PROP_CORRELATION_DATA, extras.correlation.constData(),
                                      static_cast<uint16_t>(extras.correlation.size()));
    }
    if (extras.expiresInS >= 0) {
        mosquitto_property_add_int32(&list, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL,
                                     static_cast<uint32_t>(extras.expiresInS));
    }
    mosquitto_publish_v5(m_client.get(), nullptr, topic.toUtf8().constData(), static_cast<int>(payload.size()),
                         payload.constData(), 1, extras.isRetained, list);
    mosquitto_property_free_all(&list);
}

std::vector<Got> MqttClient::take()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_got, {});
}

std::vector<Got> MqttClient::on(const QString &topic) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Got> found;
    std::copy_if(m_got.begin(), m_got.end(), std::back_inserter(found),
                 [&topic](const Got &got) { return got.topic == topic; });
    return found;
}

QJsonObject MqttClient::waitFor(const QString &topic, const QString &key, const QString &value)
{
    QJsonObject found;
    biz::test::waitFor([&] {
        for (const Got &got : on(topic)) {
            if (got.json().value(key).toString() == value) {
                found = got.json();
            }
        }
        return !found.isEmpty();
    });
    return found;
}

bool MqttClient::waitForCount(const QString &topic, std::size_t count)
{
    return biz::test::waitFor([&] { return on(topic).size() >= count; });
}

int MqttClient::lastAnswer() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastAnswer;
}

void MqttClient::forget()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_got.clear();
    m_lastAnswer = -1;
}

} // namespace biz::test
