#include <biz_console/replies/checked_reply.h>

#include <algorithm>

#include <QtCore/QJsonArray>
#include <QtCore/QRegularExpression>

#include <common/errors.h>
#include <common/hex.h>
#include <common/json_reader.h>
#include <host/frame_codec.h>

namespace biz::console {

namespace {

constexpr int firstHeadByte = 1;
constexpr int judgedHeadBytes = 5;
constexpr int maxPayload = host::DemoFrameCodec::maxPayload;

/** Between the columns of a written reply. */
constexpr char gap[] = "  ";
constexpr int charactersPerByte = 3;

QString byteText(int value)
{
    return QStringLiteral("%1").arg(value, 2, 16, QLatin1Char('0')).toUpper();
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
        QStringLiteral("one of the models %1 expected, not '%2'").arg(names.join(QStringLiteral(", ")), name));
}

QByteArray payloadOfSize(const QString &text)
{
    bool isNumber = false;
    const int size = text.toInt(&isNumber);
    if (!isNumber || size < 0 || size > maxPayload) {
        throw tools::UsageError(
            QStringLiteral("a payload size from 0 to %1 expected, not '%2'").arg(QString::number(maxPayload), text));
    }
    return {size, '\0'};
}

QByteArray checkedHeadOf(const QString &text)
{
    QByteArray head;
    if (!tools::bytesFromHex(text, &head) || head.size() != judgedHeadBytes) {
        throw tools::UsageError(
            QStringLiteral("5 head bytes in hexadecimal such as \"F1 08 03 62 01\" expected, not '%1'").arg(text));
    }
    return head;
}

QString judgedHeadText(const model_Protocoldata &reply)
{
    const auto *first = reinterpret_cast<const char *>(reply.ucHead + firstHeadByte);
    return QString::fromLatin1(QByteArray(first, judgedHeadBytes).toHex(' '));
}

CheckedReply::CheckedReply(const host::CheckedModel &model, const QByteArray &head, const QByteArray &payload)
    : m_model(model)
{
    std::copy(head.begin(), head.end(), m_reply.ucHead + firstHeadByte);
    m_reply.baData = payload;
    m_judgement = host::judgeReply(model.deviceType, m_reply);
}

CheckedReply CheckedReply::fromText(const host::CheckedModel &model, const QString &text)
{
    static const QRegularExpression withSize(QStringLiteral("^(.*\\S)\\s+(\\d+)\\s+bytes?$"));
    const QRegularExpressionMatch match = withSize.match(text);
    if (match.hasMatch()) {
        return {model, checkedHeadOf(match.captured(1)), payloadOfSize(match.captured(2))};
    }
    QByteArray bytes;
    if (!tools::bytesFromHex(text, &bytes) || bytes.size() < judgedHeadBytes ||
        bytes.size() > judgedHeadBytes + maxPayload) {
        throw tools::UsageError(QStringLiteral("5 head bytes and the payload in hexadecimal, or its size, such as "
                                               "\"F1 08 03 62 01  354 bytes\" expected, not '%1'")
                                    .arg(text));
    }
    return {model, bytes.left(judgedHeadBytes), bytes.mid(judgedHeadBytes)};
}

CheckedReply CheckedReply::fromTextWithModel(const QString &text)
{
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
    const int headAt = QString(gap + m_model.name + gap).size();
    QString line;
    for (const int number : m_judgement.brokenHeadBytes) {
        line = line.leftJustified(headAt + (number - firstHeadByte) * charactersPerByte) + QStringLiteral("^^");
    }
    if (m_judgement.brokenPayload) {
        const int payloadAt = headAt + judgedHeadText(m_reply).size() + QString(gap).size();
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
