#include <common/json/json_reader.h>

#include <climits>
#include <cmath>

#include <common/hex.h>
#include <common/shown_text.h>
#include <common/suggestion.h>

namespace biz::tools {

namespace {

QString key(const char *name)
{
    return QString::fromLatin1(name);
}

QStringList namesOf(std::initializer_list<const char *> keys)
{
    QStringList names;
    for (const char *name : keys) {
        names.append(key(name));
    }
    return names;
}

bool isWhole(const JsonValue &value)
{
    return value.kind == JsonValue::Kind::Number && std::floor(value.number) == value.number;
}

/** "commands[3]" for each element of an array. */
std::vector<PlacedValue> elementsOf(const PlacedValue &array)
{
    std::vector<PlacedValue> elements;
    for (const JsonValue &element : array.value.elements) {
        elements.push_back({element, QStringLiteral("%1[%2]").arg(array.place, QString::number(elements.size()))});
    }
    return elements;
}

} // namespace

ObjectReader::ObjectReader(JsonText &text, std::initializer_list<const char *> knownKeys)
    : m_text(text)
    , m_object(text.root())
{
    if (m_object.isObject()) {
        refuseUnknownKeys(namesOf(knownKeys));
    } else {
        m_text.note(m_object.offset, QStringLiteral("an object expected, not ") + shown(m_object));
    }
}

ObjectReader::ObjectReader(const ObjectReader &outer, const PlacedValue &value, const QStringList &knownKeys)
    : m_text(outer.m_text)
    , m_object(value.value)
    , m_place(value.place)
{
    if (m_object.isObject()) {
        refuseUnknownKeys(knownKeys);
    } else {
        noteAt(value, QStringLiteral("an object expected, not ") + shown(m_object));
    }
}

ObjectReader::ObjectReader(const ObjectReader &outer, const PlacedValue &value,
                           std::initializer_list<const char *> knownKeys)
    : ObjectReader(outer, value, namesOf(knownKeys))
{
}

void ObjectReader::refuseUnknownKeys(const QStringList &knownKeys) const
{
    for (const JsonValue &member : m_object.elements) {
        if (knownKeys.contains(member.key)) {
            continue;
        }
        const QString place = m_place.isEmpty() ? member.key : m_place + QLatin1Char('.') + member.key;
        const QString closest = closestTo(member.key, knownKeys);
        m_text.note(member.keyOffset,
                    place + (closest.isEmpty() ? QStringLiteral(": unknown key; expected one of ") +
                                                     knownKeys.join(QStringLiteral(", "))
                                               : QStringLiteral(": unknown key; did you mean \"%1\"?").arg(closest)));
    }
}

const JsonValue &ObjectReader::value(const char *name) const
{
    return m_object.member(key(name));
}

bool ObjectReader::has(const char *name) const
{
    return value(name).kind != JsonValue::Kind::Nothing;
}

QString ObjectReader::placeOf(const char *name) const
{
    return m_place.isEmpty() ? key(name) : m_place + QLatin1Char('.') + key(name);
}

// Of what is no object every member is missing: that was noted.
void ObjectReader::note(const char *name, const QString &problem) const
{
    if (m_object.isObject()) {
        const int offset = has(name) ? value(name).offset : m_object.offset;
        m_text.note(offset, QStringLiteral("%1: %2").arg(placeOf(name), problem));
    }
}

void ObjectReader::noteAt(const PlacedValue &value, const QString &problem) const
{
    m_text.note(value.value.offset, QStringLiteral("%1: %2").arg(value.place, problem));
}

int ObjectReader::integer(const char *name, int lowest, int highest, int fallback) const
{
    if (!has(name)) {
        return fallback;
    }
    const double number = value(name).number;
    if (!isWhole(value(name)) || number < lowest || number > highest) {
        note(name, QStringLiteral("a whole number from %1 to %2 expected, not %3")
                       .arg(QString::number(lowest), QString::number(highest), shown(value(name))));
        return fallback;
    }
    return static_cast<int>(number);
}

std::optional<int> ObjectReader::integerIfAny(const char *name, int lowest, int highest) const
{
    return has(name) ? std::optional(integer(name, lowest, highest, lowest)) : std::nullopt;
}

double ObjectReader::probability(const char *name) const
{
    const JsonValue &found = value(name);
    const bool good = found.kind == JsonValue::Kind::Number && found.number >= 0.0 && found.number <= 1.0;
    if (!good) {
        note(name, QStringLiteral("a probability from 0 to 1 expected, not ") + shown(found));
    }
    return good ? found.number : 0.0;
}

std::optional<int> ObjectReader::code(const char *name) const
{
    const JsonValue &found = value(name);
    if (found.isText()) {
        constexpr int baseFromPrefix = 0;
        // A leading zero would make it octal, which nobody means here.
        const bool octal =
            found.text.size() > 1 && found.text.startsWith(QLatin1Char('0')) && found.text.at(1).isDigit();
        bool good = false;
        const int number = found.text.toInt(&good, octal ? 10 : baseFromPrefix);
        return good && number >= -1 ? std::optional(number) : std::nullopt;
    }
    return isWhole(found) && found.number >= -1 && found.number <= INT_MAX
               ? std::optional(static_cast<int>(found.number))
               : std::nullopt;
}

bool ObjectReader::boolean(const char *name, bool fallback) const
{
    const bool isBoolean = value(name).kind == JsonValue::Kind::Boolean;
    if (has(name) && !isBoolean) {
        note(name, QStringLiteral("true or false expected, not ") + shown(value(name)));
    }
    return isBoolean ? value(name).boolean : fallback;
}

QString ObjectReader::text(const char *name, const QString &fallback) const
{
    if (has(name) && !value(name).isText()) {
        note(name, QStringLiteral("a text expected, not ") + shown(value(name)));
    }
    return value(name).isText() ? value(name).text : fallback;
}

QByteArray ObjectReader::hexOfSize(const char *name, int size, const char *example) const
{
    const auto bytes = value(name).isText() ? bytesFromHex(value(name).text) : std::nullopt;
    if (!bytes || bytes->size() != size) {
        note(name, QStringLiteral("%1 bytes in hexadecimal such as \"%2\" expected, not %3")
                       .arg(QString::number(size), QString::fromLatin1(example), shown(value(name))));
        return {size, '\0'};
    }
    return *bytes;
}

QByteArray ObjectReader::hexUpTo(const char *name, int maxSize) const
{
    if (!has(name)) {
        return {};
    }
    const auto bytes = value(name).isText() ? bytesFromHex(value(name).text) : std::nullopt;
    if (!bytes) {
        note(name, QStringLiteral("bytes in hexadecimal such as \"01 02 ff\" expected, not ") + shown(value(name)));
        return {};
    }
    if (bytes->size() > maxSize) {
        note(name, QStringLiteral("at most %1 bytes expected, not %2").arg(maxSize).arg(bytes->size()));
        return {};
    }
    return *bytes;
}

std::vector<PlacedValue> ObjectReader::filledArray(const char *name, const char *ofWhat) const
{
    const JsonValue &found = value(name);
    if (!found.isArray() || found.elements.empty()) {
        note(name,
             QStringLiteral("an array of at least one %1 expected, not %2")
                 .arg(QString::fromLatin1(ofWhat), found.isArray() ? QStringLiteral("an empty one") : shown(found)));
        return {};
    }
    return elementsOf(placed(name));
}

std::vector<PlacedValue> ObjectReader::array(const char *name, const char *ofWhat) const
{
    const JsonValue &found = value(name);
    if (has(name) && !found.isArray()) {
        note(name, QStringLiteral("an array of %1 expected, not %2").arg(QString::fromLatin1(ofWhat), shown(found)));
        return {};
    }
    return elementsOf(placed(name));
}

std::vector<PlacedValue> ObjectReader::textArray(const char *name) const
{
    std::vector<PlacedValue> texts;
    for (const PlacedValue &element : array(name, "texts")) {
        if (element.value.isText()) {
            texts.push_back(element);
        } else {
            noteAt(element, QStringLiteral("a text expected, not ") + shown(element.value));
        }
    }
    return texts;
}

} // namespace biz::tools
