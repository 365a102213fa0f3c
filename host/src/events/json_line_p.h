#ifndef BIZ_HOST_JSON_LINE_P_H
#define BIZ_HOST_JSON_LINE_P_H

#include <string>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace biz::host {

/** As the console and the simulator round, too: to a microsecond. */
double roundedMs(double milliseconds);

/**
 * Makes one line of JSON, key by key. It is written out by hand since QJsonDocument takes longer for one line than
 * the kit may spend on telling a whole command.
 */
class JsonLine
{
public:
    JsonLine();

    void text(const char *key, const QString &value);
    void number(const char *key, qint64 value);
    void milliseconds(const char *key, double value); ///< to a microsecond
    void hex(const char *key, const QByteArray &bytes);
    void utc(const char *key, qint64 msSince1970); ///< "2026-03-01T09:08:07.006Z"

    void beginArray(const char *key);
    void beginObject(bool isFirst); ///< of its array
    void endObject();
    void endArray();

    void more(const QJsonObject &keys);

    /** The line with its line feed. */
    QByteArray take();

private:
    void name(const char *key);
    void quoted(const QString &value);
    void escaped(ushort character);
    void decimal(quint64 value, int digits);

    std::string m_bytes;
    bool m_isFirst = true; ///< of its object
};

} // namespace biz::host

#endif
