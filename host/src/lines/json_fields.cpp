#include <lines/json_fields_p.h>

#include <cmath>

#include <QtCore/QByteArrayList>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <wire/hex_bytes_p.h>

namespace biz::host {

namespace {

/** As much of a value as a message shows. */
constexpr int shownCharacters = 40;

/** The keys of the outermost object as they stand there, with their quotes; the text is good JSON. */
QByteArrayList writtenKeys(const QByteArray &json)
{
    QByteArrayList keys;
    int depth = 0;
    int textBegin = 0;
    bool isInText = false;
    QByteArray lastText;
    for (int i = 0; i < json.size(); ++i) {
        const char letter = json.at(i);
        if (isInText) {
            if (letter == '\\') {
                ++i; // what is escaped ends no text
            } else if (letter == '"') {
                isInText = false;
                lastText = json.mid(textBegin, i + 1 - textBegin);
            }
        } else if (letter == '"') {
            isInText = true;
            textBegin = i;
        } else if (letter == '{' || letter == '[') {
            ++depth;
        } else if (letter == '}' || letter == ']') {
            --depth;
        } else if (letter == ':' && depth == 1) {
            keys.append(lastText);
        }
    }
    return keys;
}

/** Empty when each stands once: the parser takes the last of those that stand twice, without a word. */
QString repeatedKey(const QByteArrayList &written)
{
    QStringList keys;
    for (const QByteArray &one : written) {
        QString key = QJsonDocument::fromJson('[' + one + ']').array().at(0).toString();
        if (keys.contains(key)) {
            return key;
        }
        keys.append(key);
    }
    return {};
}

} // namespace

JsonFields::JsonFields(const QByteArray &json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        fail(QStringLiteral("a JSON object expected, but at byte %1 the line is none").arg(error.offset));
    } else if (!document.isObject()) {
        fail(QStringLiteral("a JSON object expected, not an array"));
    }
    m_object = document.object();
    const QByteArrayList keys = isGood() ? writtenKeys(json) : QByteArrayList();
    if (keys.size() > m_object.size()) {
        fail(QStringLiteral("%1: the key stands twice").arg(repeatedKey(keys).left(shownCharacters)));
    }
}

void JsonFields::allowOnly(const QStringList &names)
{
    for (auto member = m_object.constBegin(); member != m_object.constEnd(); ++member) {
        if (!names.contains(member.key())) {
            fail(QStringLiteral("%1: unknown key; expected one of %2")
                     .arg(member.key().left(shownCharacters), names.join(QStringLiteral(", "))));
        }
    }
}

QString JsonFields::name(const char *name, int longest)
{
    const QString text = m_object.value(QLatin1String(name)).toString();
    if (text.isEmpty() || text.size() > longest) {
        fail(name, QStringLiteral("a text of 1 to %1 characters expected").arg(longest));
    }
    return isGood() ? text : QString();
}

QString JsonFields::text(const char *name, int longest)
{
    const QJsonValue value = m_object.value(QLatin1String(name));
    const QString text = value.toString();
    if ((has(name) && !value.isString()) || text.size() > longest) {
        fail(name, QStringLiteral("a text of at most %1 characters expected").arg(longest));
    }
    return isGood() ? text : QString();
}

int JsonFields::integer(const char *name, int lowest, int highest, int fallback)
{
    if (!has(name)) {
        return fallback;
    }
    const QJsonValue value = m_object.value(QLatin1String(name));
    const double number = value.toDouble();
    if (!value.isDouble() || std::floor(number) != number || number < lowest || number > highest) {
        fail(name, QStringLiteral("a whole number from %1 to %2 expected").arg(lowest).arg(highest));
    }
    return isGood() ? static_cast<int>(number) : fallback;
}

bool JsonFields::boolean(const char *name)
{
    const QJsonValue value = m_object.value(QLatin1String(name));
    if (has(name) && !value.isBool()) {
        fail(name, QStringLiteral("true or false expected"));
    }
    return value.toBool();
}

QByteArray JsonFields::bytes(const char *name, int size, const char *example)
{
    const QJsonValue value = m_object.value(QLatin1String(name));
    const auto bytes = wire::bytesFromHex(value.toString());
    if (!value.isString() || !bytes || bytes->size() != size) {
        fail(name, QStringLiteral("%1 bytes in hexadecimal such as \"%2\" expected")
                       .arg(QString::number(size), QLatin1String(example)));
    }
    return isGood() ? *bytes : QByteArray(size, '\0');
}

QByteArray JsonFields::bytesUpTo(const char *name, int most)
{
    if (!has(name)) {
        return {};
    }
    const QJsonValue value = m_object.value(QLatin1String(name));
    const auto bytes = wire::bytesFromHex(value.toString());
    if (!value.isString() || !bytes || bytes->size() > most) {
        fail(name, QStringLiteral("at most %1 bytes in hexadecimal such as \"01 02 FF\" expected").arg(most));
    }
    return isGood() ? *bytes : QByteArray();
}

void JsonFields::fail(const QString &problem)
{
    if (m_problem.isEmpty()) {
        m_problem = problem;
    }
}

void JsonFields::fail(const char *name, const QString &expected)
{
    fail(QStringLiteral("%1: %2, not %3").arg(QLatin1String(name), expected, shown(name)));
}

/** A value in JSON's notation, shortened. */
QString JsonFields::shown(const char *name) const
{
    const QJsonValue value = m_object.value(QLatin1String(name));
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

} // namespace biz::host
