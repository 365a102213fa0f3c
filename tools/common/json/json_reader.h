#ifndef BIZ_TOOLS_JSON_READER_H
#define BIZ_TOOLS_JSON_READER_H

#include <initializer_list>
#include <optional>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <common/json/json_text.h>

namespace biz::tools {

/** A value and how messages name it: `commands[3].head`. */
struct PlacedValue
{
    const JsonValue &value;
    QString place;
};

/**
 * Reads the members of one JSON object strictly: whatever is missing, of another type, out of
 * bounds or unknown is noted in the text, with its place such as `commands[3].head`, and the
 * fallback is returned in its stead. JsonText::requireGood() tells all of it in the end.
 */
class ObjectReader
{
public:
    /** Of the outermost value. */
    ObjectReader(JsonText &text, std::initializer_list<const char *> knownKeys);

    /** Of a value within another object. */
    ObjectReader(const ObjectReader &outer, const PlacedValue &value, const QStringList &knownKeys);
    ObjectReader(const ObjectReader &outer, const PlacedValue &value, std::initializer_list<const char *> knownKeys);

    bool has(const char *name) const;
    QString placeOf(const char *name) const;

    /** A value that is nothing when the key is absent. */
    const JsonValue &value(const char *name) const;
    PlacedValue placed(const char *name) const { return {value(name), placeOf(name)}; }

    /** A whole number within the bounds; `fallback` when the key is absent. */
    int integer(const char *name, int lowest, int highest, int fallback) const;

    /** The same without a fallback: none when the key is absent. */
    std::optional<int> integerIfAny(const char *name, int lowest, int highest) const;

    /** Any number from 0 to 1; required. */
    double probability(const char *name) const;

    /** A whole number, or one written as decimal or 0x text, as device types are; none when it is neither. */
    std::optional<int> code(const char *name) const;

    bool boolean(const char *name, bool fallback) const;

    QString text(const char *name, const QString &fallback = {}) const;

    /** Exactly `size` bytes in hexadecimal; required. */
    QByteArray hexOfSize(const char *name, int size, const char *example) const;

    /** At most `maxSize` bytes in hexadecimal; empty when the key is absent. */
    QByteArray hexUpTo(const char *name, int maxSize) const;

    /** The elements of an array; required, and not empty. */
    std::vector<PlacedValue> filledArray(const char *name, const char *ofWhat) const;

    /** The same; empty when the key is absent. */
    std::vector<PlacedValue> array(const char *name, const char *ofWhat) const;

    /** The texts of an array. */
    std::vector<PlacedValue> textArray(const char *name) const;

    /** Notes a problem with a member; with a missing one at the beginning of the object. */
    void note(const char *name, const QString &problem) const;

    /** Notes a problem with a value of this text. */
    void noteAt(const PlacedValue &value, const QString &problem) const;

private:
    void refuseUnknownKeys(const QStringList &knownKeys) const;

    JsonText &m_text;
    const JsonValue &m_object;
    QString m_place;
};

} // namespace biz::tools

#endif
