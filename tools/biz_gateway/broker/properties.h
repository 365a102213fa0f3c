#ifndef BIZ_GATEWAY_PROPERTIES_H
#define BIZ_GATEWAY_PROPERTIES_H

#include <optional>

#include <QtCore/QByteArray>
#include <QtCore/QString>

struct mqtt5__property; // NOLINT(bugprone-reserved-identifier): the library's own name

namespace biz::gateway {

/** The properties of an MQTT 5 packet that is being made. */
class Properties
{
public:
    Properties() = default;
    ~Properties();
    Properties(const Properties &) = delete;
    Properties &operator=(const Properties &) = delete;

    void addCorrelation(const QByteArray &data);

    const mqtt5__property *list() const { return m_list; }

private:
    mqtt5__property *m_list = nullptr;
};

// What a packet that came says; empty when it does not.
QString responseTopicOf(const mqtt5__property *list);
QByteArray correlationOf(const mqtt5__property *list);
std::optional<quint32> expiryOf(const mqtt5__property *list);
QString reasonOf(const mqtt5__property *list);

} // namespace biz::gateway

#endif
