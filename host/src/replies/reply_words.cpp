#include <host/reply_words.h>

#include <biz_cmdswork/reply_rules/models_p.h>
#include <biz_cmdswork/reply_rules/reply_view_p.h>
#include <biz_cmdswork/reply_rules/words_p.h>

namespace biz::host {

QVector<CheckedModel> checkedModels()
{
    QVector<CheckedModel> models;
    for (const rules::ModelRules &row : rules::modelRules) {
        models.append({row.deviceType, QString::fromLatin1(row.name.data(), static_cast<int>(row.name.size()))});
    }
    return models;
}

ReplyJudgement judgeReply(int deviceType, const model_Protocoldata &reply)
{
    ReplyJudgement judgement;
    const auto model = rules::modelOfDeviceType(deviceType);
    if (!model) {
        return judgement;
    }
    const rules::Reply view = rules::viewOf(reply);
    const rules::Verdict verdict = rules::judge(*model, view);
    judgement.accepted = verdict.accepted();
    judgement.rule = QString::fromStdString(rules::inWords(verdict.rule));
    if (const rules::Clause *broken = verdict.broken) {
        judgement.broken = QString::fromStdString(rules::whyBroken(view, *broken));
        for (const int number : rules::brokenHeadBytes(view, *broken)) {
            judgement.brokenHeadBytes.append(number);
        }
        judgement.brokenPayload = judgement.brokenHeadBytes.isEmpty();
    }
    return judgement;
}

QVector<RuleInWords> rulesInWords(int deviceType)
{
    QVector<RuleInWords> words;
    const auto model = rules::modelOfDeviceType(deviceType);
    if (!model) {
        return words;
    }
    const rules::ModelRules &own = rules::rulesOf(*model);
    for (const rules::Row &row : *own.table) {
        const rules::Rule &rule = own.ruleOf(row);
        if (!rule.empty()) {
            words.append({row.command, QString::fromStdString(rules::inWords(row.subCodes)),
                          QString::fromStdString(rules::inWords(rule))});
        }
    }
    return words;
}

QString commandText(const model_Protocoldata &record)
{
    const std::string command = rules::hexByte(record.ucHead[1]);
    const std::string subCode = rules::hexByte(record.ucHead[2]);
    const char codes[] = {command[0], command[1], '/', subCode[0], subCode[1]};
    return QString::fromLatin1(codes, sizeof codes);
}

} // namespace biz::host
