#include <biz_gateway/broker/properties.h>

#include <cstdlib>
#include <memory>

#include <mosquitto.h>
#include <mqtt_protocol.h>

namespace biz::gateway {

namespace {

constexpr bool skipFirst = false;

QString textOf(const mqtt5__property *list, int identifier)
{
    char *text = nullptr;
    mosquitto_property_read_string(list, identifier, &text, skipFirst);
    const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
    return QString::fromUtf8(text);
}

} // namespace

Properties::~Properties()
{
    mosquitto_property_free_all(&m_list);
}

void Properties::addCorrelation(const QByteArray &data)
{
    mosquitto_property_add_binary(&m_list, MQTT_PROP_CORRELATION_DATA, data.constData(),
                                  static_cast<uint16_t>(data.size()));
}

QString responseTopicOf(const mqtt5__property *list)
{
    return textOf(list, MQTT_PROP_RESPONSE_TOPIC);
}

QString reasonOf(const mqtt5__property *list)
{
    return textOf(list, MQTT_PROP_REASON_STRING);
}

QByteArray correlationOf(const mqtt5__property *list)
{
    void *data = nullptr;
    uint16_t size = 0;
    mosquitto_property_read_binary(list, MQTT_PROP_CORRELATION_DATA, &data, &size, skipFirst);
    const std::unique_ptr<void, decltype(&std::free)> owned(data, &std::free);
    return {static_cast<const char *>(data), size};
}

std::optional<quint32> expiryOf(const mqtt5__property *list)
{
    uint32_t seconds = 0;
    const auto *const found =
        mosquitto_property_read_int32(list, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, &seconds, skipFirst);
    return found != nullptr ? std::optional<quint32>(seconds) : std::nullopt;
}

} // namespace biz::gateway
