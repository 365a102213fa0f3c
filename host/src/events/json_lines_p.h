#ifndef BIZ_HOST_JSON_LINES_P_H
#define BIZ_HOST_JSON_LINES_P_H

#include <cstddef>
#include <limits>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace biz::host {

/** As the console and the simulator round, too: to a microsecond. */
double roundedMs(double milliseconds);

/** A name in plain ASCII that needs no escape, with its length known to the compiler. */
struct JsonKey
{
    template<std::size_t sizeWithEnd>
    constexpr JsonKey(const char (&literal)[sizeWithEnd]) // NOLINT(google-explicit-constructor): written as a literal
        : text(literal)
        , size(sizeWithEnd - 1)
    {
    }

    const char *text;
    std::size_t size;
};

/**
 * Makes lines of JSON, each an object, key by key. They are written out by hand since QJsonDocument takes longer for
 * one line than the kit may spend on telling a whole command. Each field makes room for all of itself at once.
 */
class JsonLines
{
public:
    void begin();

    void text(JsonKey key, const QString &value);
    void number(JsonKey key, qint64 value);
    void milliseconds(JsonKey key, double value); ///< to a microsecond
    void hex(JsonKey key, const QByteArray &bytes);
    void utc(JsonKey key, qint64 msSince1970); ///< "2026-03-01T09:08:07.006Z"

    void beginArray(JsonKey key);
    void beginObject(bool isFirst); ///< of its array
    void endObject();
    void endArray();

    void more(const QJsonObject &keys);

    /** With the line feed. */
    void end();

    /** All lines; none are left. */
    QByteArray take();

private:
    static constexpr int secondTextSize = 20;

    char *roomFor(std::size_t bytes);
    char *named(JsonKey key, std::size_t bytesOfValue);
    void wroteUpTo(const char *end) { m_size = static_cast<int>(end - m_bytes.constData()); }
    void write(char character);
    const char *secondText(qint64 second);

    QByteArray m_bytes; ///< the lines, and room for more
    int m_size = 0;
    bool m_isFirst = true; ///< of its object
    qint64 m_second = std::numeric_limits<qint64>::min();
    char m_secondText[secondTextSize] = {}; ///< the one that many lines in a row share: "2026-03-01T09:08:07."
};

} // namespace biz::host

#endif
