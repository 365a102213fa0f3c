#include <biz_console/command_line.h>

#include <algorithm>

#include <common/json_reader.h>
#include <host/frame_codec.h>
#include <host/reply_words.h>

namespace biz::console {

namespace {

constexpr int firstHeadByte = 1;
constexpr int judgedHeadBytes = 5;

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
    throw UsageError(
        QStringLiteral("one of the models %1 expected, not '%2'").arg(names.join(QStringLiteral(", ")), name));
}

QByteArray headOf(const QString &text)
{
    QByteArray head;
    if (!tools::bytesFromHex(text, &head) || head.size() != judgedHeadBytes) {
        throw UsageError(
            QStringLiteral("5 head bytes in hexadecimal such as \"F1 08 03 62 01\" expected, not '%1'").arg(text));
    }
    return head;
}

QByteArray payloadOfSize(const QString &text)
{
    bool isNumber = false;
    const int size = text.toInt(&isNumber);
    if (!isNumber || size < 0 || size > host::DemoFrameCodec::maxPayload) {
        throw UsageError(QStringLiteral("--size: a number from 0 to %1 expected, not '%2'")
                             .arg(QString::number(host::DemoFrameCodec::maxPayload), text));
    }
    return {size, '\0'};
}

QByteArray payloadOf(const QString &text)
{
    QByteArray payload;
    if (!tools::bytesFromHex(text, &payload)) {
        throw UsageError(QStringLiteral("the payload in hexadecimal expected, not '%1'").arg(text));
    }
    return payload;
}

void printReply(QTextStream &out, const model_Protocoldata &reply)
{
    const auto byte = [&reply](int i) {
        return QStringLiteral("%1").arg(reply.ucHead[i], 2, 16, QLatin1Char('0')).toUpper();
    };
    out << "  reply: command " << byte(1) << ", sub-code " << byte(2) << ", index " << reply.ucHead[3]
        << ", bytes 4 and 5 " << byte(4) << ' ' << byte(5) << " (declared length "
        << (reply.ucHead[5] * 256 + reply.ucHead[4]) << "), payload " << reply.baData.size() << " bytes\n";
}

} // namespace

int runCheck(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Judges one reply by the rules of a model, without a device. Exit status: 0 accepted, 1 refused."));
    parser.addPositionalArgument(QStringLiteral("model"), QStringLiteral("The model, such as A2."),
                                 QStringLiteral("check MODEL"));
    parser.addPositionalArgument(QStringLiteral("head"), QStringLiteral("Bytes 1 to 5 of the head, in hexadecimal."),
                                 QStringLiteral("HEAD"));
    parser.addPositionalArgument(QStringLiteral("payload"), QStringLiteral("The payload in hexadecimal."),
                                 QStringLiteral("[PAYLOAD]"));
    const QString sizeOption = QStringLiteral("size");
    parser.addOption({sizeOption, QStringLiteral("A payload of <n> bytes instead."), QStringLiteral("n")});
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    const QStringList given = parser.positionalArguments();
    const int wanted = parser.isSet(sizeOption) ? 2 : 3;
    if (given.size() != wanted) {
        throw UsageError(QStringLiteral("a model, a head and either a payload or --size expected"));
    }
    const host::CheckedModel model = modelNamed(given.at(0));
    const QByteArray head = headOf(given.at(1));
    model_Protocoldata reply;
    std::copy(head.begin(), head.end(), reply.ucHead + firstHeadByte);
    reply.baData = wanted == 2 ? payloadOfSize(parser.value(sizeOption)) : payloadOf(given.at(2));

    const host::ReplyJudgement judgement = host::judgeReply(model.deviceType, reply);
    const QString why = judgement.rule.isEmpty()
                            ? QStringLiteral("%1 has no rule for %2").arg(model.name, host::commandText(reply))
                            : QStringLiteral("it meets its rule");
    output.out << (judgement.accepted ? "accepted: " + why : "refused: " + judgement.broken) << '\n';
    if (!judgement.rule.isEmpty()) {
        output.out << "  rule:  " << judgement.rule << '\n';
    }
    printReply(output.out, reply);
    return judgement.accepted ? AsExpected : NotAsExpected;
}

int runRules(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Prints the reply rules of a model in words."));
    parser.addPositionalArgument(QStringLiteral("model"), QStringLiteral("The model, such as A2."),
                                 QStringLiteral("rules MODEL"));
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    constexpr int codesWidth = 44;
    const host::CheckedModel model = modelNamed(onlyArgument(parser, QStringLiteral("the model")));
    output.out << "Replies of the " << model.name << " (0x" << QString::number(model.deviceType, 16).toUpper()
               << "); all that have no row are accepted.\n";
    for (const host::RuleInWords &row : host::rulesInWords(model.deviceType)) {
        const QString command = QStringLiteral("%1").arg(row.command, 2, 16, QLatin1Char('0')).toUpper();
        output.out << command << " / " << row.subCodes.leftJustified(codesWidth) << ' ' << row.rule << '\n';
    }
    return AsExpected;
}

} // namespace biz::console
