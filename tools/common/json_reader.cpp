#include <common/json_reader.h>

#include <cmath>

#include <QtCore/QJsonDocument>

#include <common/hex.h>

namespace biz::tools {

namespace {

constexpr int shownCharacters = 40;

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

bool isWhole(const QJsonValue &value)
{
    return value.isDouble() && std::floor(value.toDouble()) == value.toDouble();
}

/**
 * "line 3, column 7" of the last character that the parser read: it stops behind what it
 * could not use, which can be on the next line.
 */
QString positionOf(const QByteArray &text, int offset)
{
    const auto isSpace = [](char character) {
        return character == ' ' || character == '\t' || character == '\r' || character == '\n';
    };
    int last = qBound(0, offset - 1, qMax(0, text.size() - 1));
    while (last > 0 && isSpace(text.at(last))) {
        --last;
    }
    const QByteArray before = text.left(last);
    const int line = before.count('\n') + 1;
    const int column = last - before.lastIndexOf('\n');
    return QStringLiteral("line %1, column %2").arg(line).arg(column);
}

} // namespace

QJsonValue parseJson(const QByteArray &json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        throw InputError(positionOf(json, error.offset), QStringLiteral("JSON expected, but ") + error.errorString());
    }
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

QString elementPlace(const QString &array, int index)
{
    return QStringLiteral("%1[%2]").arg(array, QString::number(index));
}

QString shown(const QJsonValue &value)
{
    if (value.isUndefined()) {
        return QStringLiteral("nothing");
    }
    if (value.isArray()) {
        return QStringLiteral("an array");
    }
    if (value.isObject()) {
        return QStringLiteral("an object");
    }
    const QByteArray inBrackets = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    const QString text = QString::fromUtf8(inBrackets.mid(1, inBrackets.size() - 2));
    return text.size() <= shownCharacters ? text : text.left(shownCharacters) + QStringLiteral("...");
}

ObjectReader::ObjectReader(const QJsonValue &value, QString place, std::initializer_list<const char *> knownKeys)
    : ObjectReader(value, std::move(place), namesOf(knownKeys))
{
}

ObjectReader::ObjectReader(const QJsonValue &value, QString place, const QStringList &knownKeys)
    : m_place(std::move(place))
    , m_object(value.toObject())
{
    if (!value.isObject()) {
        throw InputError(m_place.isEmpty() ? QStringLiteral("document") : m_place,
                         QStringLiteral("an object expected, not ") + shown(value));
    }
    for (const QString &name : m_object.keys()) {
        if (!knownKeys.contains(name)) {
            throw InputError(m_place.isEmpty() ? name : m_place + QLatin1Char('.') + name,
                             QStringLiteral("unknown key; expected one of ") + knownKeys.join(QStringLiteral(", ")));
        }
    }
}

bool ObjectReader::has(const char *name) const
{
    return m_object.contains(QLatin1String(name));
}

QString ObjectReader::placeOf(const char *name) const
{
    return m_place.isEmpty() ? key(name) : m_place + QLatin1Char('.') + key(name);
}

void ObjectReader::fail(const char *name, const QString &problem) const
{
    throw InputError(placeOf(name), problem);
}

int ObjectReader::integer(const char *name, int lowest, int highest, int fallback) const
{
    if (!has(name)) {
        return fallback;
    }
    const double number = value(name).toDouble();
    if (!isWhole(value(name)) || number < lowest || number > highest) {
        fail(name, QStringLiteral("a whole number from %1 to %2 expected, not %3")
                       .arg(QString::number(lowest), QString::number(highest), shown(value(name))));
    }
    return static_cast<int>(number);
}

std::optional<int> ObjectReader::integerIfAny(const char *name, int lowest, int highest) const
{
    return has(name) ? std::optional(integer(name, lowest, highest, lowest)) : std::nullopt;
}

double ObjectReader::probability(const char *name) const
{
    const double number = value(name).toDouble(-1.0);
    if (number < 0.0 || number > 1.0) {
        fail(name, QStringLiteral("a probability from 0 to 1 expected, not ") + shown(value(name)));
    }
    return number;
}

int ObjectReader::code(const char *name) const
{
    bool good = false;
    int number = 0;
    if (value(name).isString()) {
        constexpr int baseFromPrefix = 0;
        const QString text = value(name).toString();
        // A leading zero would make it octal, which nobody means here.
        const bool octal = text.size() > 1 && text.startsWith(QLatin1Char('0')) && text.at(1).isDigit();
        number = text.toInt(&good, octal ? 10 : baseFromPrefix);
    } else if (isWhole(value(name))) {
        const double asDouble = value(name).toDouble();
        good = asDouble >= -1 && asDouble <= INT_MAX;
        number = good ? static_cast<int>(asDouble) : 0;
    }
    if (!good || number < -1) {
        fail(name, QStringLiteral("a model such as \"A2\", or its code such as \"0x1400\" or 5120, expected, not ") +
                       shown(value(name)));
    }
    return number;
}

bool ObjectReader::boolean(const char *name, bool fallback) const
{
    if (has(name) && !value(name).isBool()) {
        fail(name, QStringLiteral("true or false expected, not ") + shown(value(name)));
    }
    return value(name).toBool(fallback);
}

QString ObjectReader::text(const char *name, const QString &fallback) const
{
    if (has(name) && !value(name).isString()) {
        fail(name, QStringLiteral("a text expected, not ") + shown(value(name)));
    }
    return value(name).toString(fallback);
}

QByteArray ObjectReader::hexOfSize(const char *name, int size, const char *example) const
{
    QByteArray bytes;
    if (!value(name).isString() || !bytesFromHex(value(name).toString(), &bytes) || bytes.size() != size) {
        fail(name, QStringLiteral("%1 bytes in hexadecimal such as \"%2\" expected, not %3")
                       .arg(QString::number(size), QString::fromLatin1(example), shown(value(name))));
    }
    return bytes;
}

QByteArray ObjectReader::hexUpTo(const char *name, int maxSize) const
{
    QByteArray bytes;
    if (!has(name)) {
        return bytes;
    }
    if (!value(name).isString() || !bytesFromHex(value(name).toString(), &bytes)) {
        fail(name, QStringLiteral("bytes in hexadecimal such as \"01 02 ff\" expected, not ") + shown(value(name)));
    }
    if (bytes.size() > maxSize) {
        fail(name, QStringLiteral("at most %1 bytes expected, not %2").arg(maxSize).arg(bytes.size()));
    }
    return bytes;
}

QJsonArray ObjectReader::filledArray(const char *name, const char *ofWhat) const
{
    QJsonArray array = value(name).toArray();
    if (array.isEmpty()) {
        fail(name, QStringLiteral("an array of at least one %1 expected, not %2")
                       .arg(QString::fromLatin1(ofWhat),
                            value(name).isArray() ? QStringLiteral("an empty one") : shown(value(name))));
    }
    return array;
}

QJsonArray ObjectReader::array(const char *name, const char *ofWhat) const
{
    if (has(name) && !value(name).isArray()) {
        fail(name,
             QStringLiteral("an array of %1 expected, not %2").arg(QString::fromLatin1(ofWhat), shown(value(name))));
    }
    return value(name).toArray();
}

QStringList ObjectReader::textArray(const char *name) const
{
    QStringList texts;
    const QJsonArray values = array(name, "texts");
    for (int i = 0; i < values.size(); ++i) {
        if (!values.at(i).isString()) {
            throw InputError(elementPlace(placeOf(name), i),
                             QStringLiteral("a text expected, not ") + shown(values.at(i)));
        }
        texts.append(values.at(i).toString());
    }
    return texts;
}

} // namespace biz::tools
