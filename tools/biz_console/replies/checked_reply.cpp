#include <biz_console/replies/checked_reply.h>

#include <algorithm>

#include <QtCore/QJsonArray>
#include <QtCore/QRegularExpression>

#include <biz_console/replies/error_log_line.h>
#include <common/errors.h>
#include <common/hex.h>
#include <common/suggestion.h>
#include <host/frame_codec.h>

namespace biz::console {

namespace {

constexpr int judgedHeadBytes = lastHeadByte - firstHeadByte + 1;
constexpr int maxPayload = host::DemoFrameCodec::maxPayload;

/** Between the columns of a written reply. */
constexpr char gap[] = "  ";
constexpr int charactersPerByte = 3;

/** What of a text a message quotes: a line of binary junk can be as long as its file. */
QString startOf(const QString &text)
{
    constexpr int shownCharacters = 60;
    return text.size() <= shownCharacters ? text : text.left(shownCharacters) + QStringLiteral("...");
}

QString byteText(int value)
{
    return QStringLiteral("%1").arg(value, 2, 16, QLatin1Char('0')).toUpper();
}

model_Protocoldata recordOf(const QByteArray &head, const QByteArray &payload)
{
    model_Protocoldata record;
    std::copy(head.begin(), head.end(), record.ucHead + firstHeadByte);
    record.baData = payload;
    return record;
}

/** "[ORLIXA2][2024-05-06 14:03:22 517]<f1 05 00 81 00>0000": nothing else begins so. */
bool isOfErrorLog(const QString &text)
{
    return text.startsWith(QLatin1Char('['));
}

ErrorLogLine logLineOf(const QString &text)
{
    const auto line = readErrorLogLine(text.toLatin1());
    if (!line) {
        throw tools::UsageError(QStringLiteral("a whole line of the error log expected, not '%1'").arg(startOf(text)));
    }
    return *line;
}

QString sizeText(const model_Protocoldata &reply)
{
    return QStringLiteral("%1 bytes").arg(reply.baData.size());
}

} // namespace

host::CheckedModel modelNamed(const QString &name)
{
    QStringList names;
    const QVector<host::CheckedModel> models = host::checkedModels();
    for (const host::CheckedModel &model : models) {
        if (model.name.compare(name, Qt::CaseInsensitive) == 0) {
            return model;
        }
        names.append(model.name);
    }
    throw tools::UsageError(
        QStringLiteral("one of the models %1 expected, not '%2'").arg(names.join(QStringLiteral(", ")), startOf(name)) +
        tools::suggestionFor(name, names));
}

QByteArray payloadOfSize(const QString &text)
{
    bool isNumber = false;
    const int size = text.toInt(&isNumber);
    if (!isNumber || size < 0 || size > maxPayload) {
        throw tools::UsageError(QStringLiteral("a payload size from 0 to %1 expected, not '%2'")
                                    .arg(QString::number(maxPayload), startOf(text)));
    }
    return {size, '\0'};
}

QByteArray checkedHeadOf(const QString &text)
{
    const auto head = tools::bytesFromHex(text);
    if (!head || head->size() != judgedHeadBytes) {
        throw tools::UsageError(
            QStringLiteral("%1 head bytes in hexadecimal such as \"F1 08 03 62 01\" expected, not '%2'")
                .arg(QString::number(judgedHeadBytes), startOf(text)));
    }
    return *head;
}

QString judgedHeadText(const model_Protocoldata &reply)
{
    const auto *first = reinterpret_cast<const char *>(reply.ucHead + firstHeadByte);
    return QString::fromLatin1(QByteArray(first, judgedHeadBytes).toHex(' '));
}

CheckedReply::CheckedReply(const host::CheckedModel &model, const QByteArray &head, const QByteArray &payload)
    : CheckedReply(model, recordOf(head, payload))
{
}

CheckedReply::CheckedReply(const host::CheckedModel &model, const model_Protocoldata &reply)
    : m_model(model)
    , m_reply(reply)
    , m_judgement(host::judgeReply(model.deviceType, reply))
{
}

CheckedReply CheckedReply::fromText(const host::CheckedModel &model, const QString &text)
{
    if (isOfErrorLog(text)) {
        return {model, logLineOf(text).reply};
    }
    static const QRegularExpression withSize(QStringLiteral("^(.*\\S)\\s+(\\d+)\\s+bytes?$"));
    const QRegularExpressionMatch match = withSize.match(text);
    if (match.hasMatch()) {
        return {model, checkedHeadOf(match.captured(1)), payloadOfSize(match.captured(2))};
    }
    const auto bytes = tools::bytesFromHex(text);
    if (!bytes || bytes->size() < judgedHeadBytes || bytes->size() > judgedHeadBytes + maxPayload) {
        throw tools::UsageError(QStringLiteral("%1 head bytes and the payload in hexadecimal, or its size, such as "
                                               "\"F1 08 03 62 01  354 bytes\" expected, not '%2'")
                                    .arg(QString::number(judgedHeadBytes), startOf(text)));
    }
    return {model, bytes->left(judgedHeadBytes), bytes->mid(judgedHeadBytes)};
}

CheckedReply CheckedReply::fromTextWithModel(const QString &text)
{
    if (isOfErrorLog(text)) {
        const ErrorLogLine line = logLineOf(text);
        const host::CheckedModel *model = modelOfLoggedName(line.loggedName);
        if (model == nullptr) {
            throw tools::UsageError(QStringLiteral("a line of a model whose replies are judged expected, not of '%1'")
                                        .arg(line.loggedName));
        }
        return {*model, line.reply};
    }
    const QString model = text.section(QRegularExpression(QStringLiteral("\\s")), 0, 0);
    return fromText(modelNamed(model), text.mid(model.size()).trimmed());
}

QString CheckedReply::verdict() const
{
    if (!m_judgement.accepted) {
        return QStringLiteral("refused: ") + m_judgement.broken;
    }
    return m_judgement.rule.isEmpty()
               ? QStringLiteral("accepted: %1 has no rule for %2").arg(m_model.name, host::commandText(m_reply))
               : QStringLiteral("accepted: it meets its rule");
}

QStringList CheckedReply::explanation() const
{
    QStringList lines{gap + m_model.name + gap + judgedHeadText(m_reply).toUpper() + gap + sizeText(m_reply)};
    if (!m_judgement.accepted) {
        lines.append(marks());
    }
    if (!m_judgement.rule.isEmpty()) {
        lines.append(QStringLiteral("  rule:  ") + m_judgement.rule);
    }
    return lines;
}

/** The line under the written reply. */
QString CheckedReply::marks() const
{
    const auto headAt = static_cast<int>(QString(gap + m_model.name + gap).size());
    QString line;
    for (const int number : m_judgement.brokenHeadBytes) {
        line = line.leftJustified(headAt + (number - firstHeadByte) * charactersPerByte) + QStringLiteral("^^");
    }
    if (m_judgement.brokenPayload) {
        const auto payloadAt = static_cast<int>(headAt + judgedHeadText(m_reply).size() + QString(gap).size());
        line = line.leftJustified(payloadAt) + QString(sizeText(m_reply).size(), QLatin1Char('^'));
    }
    return line;
}

QString CheckedReply::meaning() const
{
    const auto &head = m_reply.ucHead;
    return QStringLiteral("  reply: command %1, sub-code %2, index %3, bytes 4 and 5 %4 %5 (declared length %6), "
                          "payload %7")
        .arg(byteText(head[1]), byteText(head[2]), QString::number(head[3]), byteText(head[4]), byteText(head[5]),
             QString::number(head[5] * 256 + head[4]), sizeText(m_reply));
}

QJsonObject CheckedReply::toJson() const
{
    QJsonArray brokenHeadBytes;
    for (const int number : m_judgement.brokenHeadBytes) {
        brokenHeadBytes.append(number);
    }
    return {{QStringLiteral("model"), m_model.name},
            {QStringLiteral("command"), host::commandText(m_reply)},
            {QStringLiteral("head"), judgedHeadText(m_reply)},
            {QStringLiteral("payloadBytes"), m_reply.baData.size()},
            {QStringLiteral("accepted"), m_judgement.accepted},
            {QStringLiteral("rule"), m_judgement.rule},
            {QStringLiteral("broken"), m_judgement.broken},
            {QStringLiteral("brokenHeadBytes"), brokenHeadBytes},
            {QStringLiteral("brokenPayload"), m_judgement.brokenPayload}};
}

} // namespace biz::console
