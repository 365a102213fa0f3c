#ifndef BIZ_TOOLS_JSON_READER_H
#define BIZ_TOOLS_JSON_READER_H

#include <initializer_list>
#include <optional>

#include <QtCore/QByteArray>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <common/errors.h>

namespace biz::tools {

/** The one value of a JSON text; an InputError with line and column when it holds none. */
QJsonValue parseJson(const QByteArray &json);

/**
 * Reads the members of one JSON object strictly: whatever is missing, of another type, out
 * of bounds or unknown is an InputError with its place, such as `commands[3].head`.
 */
class ObjectReader
{
public:
    ObjectReader(const QJsonValue &value, QString place, std::initializer_list<const char *> knownKeys);
    ObjectReader(const QJsonValue &value, QString place, const QStringList &knownKeys);

    bool has(const char *name) const;
    QString placeOf(const char *name) const;

    /** A whole number within the bounds; `fallback` when the key is absent. */
    int integer(const char *name, int lowest, int highest, int fallback) const;

    /** The same without a fallback: none when the key is absent. */
    std::optional<int> integerIfAny(const char *name, int lowest, int highest) const;

    /** Any number from 0 to 1; required. */
    double probability(const char *name) const;

    /** A whole number, or one written as decimal or 0x text, as device types are. */
    int code(const char *name) const;

    bool boolean(const char *name, bool fallback) const;

    QString text(const char *name, const QString &fallback = {}) const;

    /** Exactly `size` bytes in hexadecimal; required. */
    QByteArray hexOfSize(const char *name, int size, const char *example) const;

    /** At most `maxSize` bytes in hexadecimal; empty when the key is absent. */
    QByteArray hexUpTo(const char *name, int maxSize) const;

    /** Required, and not empty. */
    QJsonArray filledArray(const char *name, const char *ofWhat) const;

    /** Empty when the key is absent. */
    QJsonArray array(const char *name, const char *ofWhat) const;

    QStringList textArray(const char *name) const;

    QJsonValue value(const char *name) const { return m_object.value(QLatin1String(name)); }

    [[noreturn]] void fail(const char *name, const QString &problem) const;

private:
    QString m_place;
    QJsonObject m_object;
};

/** "commands[3]": the place of an array's element. */
QString elementPlace(const QString &array, int index);

/** A value as a message shows it: short, in JSON's notation. */
QString shown(const QJsonValue &value);

} // namespace biz::tools

#endif
