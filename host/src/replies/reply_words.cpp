#include <host/reply_words.h>

#include <limits>

#include <biz_cmdswork/reply_rules_p.h>
#include <biz_cmdswork/reply_view_p.h>

namespace biz::host {

namespace {

using rules::Check;
using rules::Clause;
using rules::Reply;
using rules::Rule;

QString nameOf(rules::Model model)
{
    switch (model) {
    case rules::Model::OrlixA2:
        return QStringLiteral("A2");
    case rules::Model::OrlixA1Max:
        return QStringLiteral("A1MAX");
    case rules::Model::OrlixA3:
        return QStringLiteral("A3");
    case rules::Model::Pvn410Max:
        return QStringLiteral("PVN410MAX");
    case rules::Model::K250:
        return QStringLiteral("K250");
    case rules::Model::Pvn410Max2:
        return QStringLiteral("PVN410MAX2");
    case rules::Model::OrlixA5:
        return QStringLiteral("A5");
    }
    return {};
}

QString hexByte(int value)
{
    return QStringLiteral("%1").arg(value, 2, 16, QLatin1Char('0')).toUpper();
}

/** The two lengths that a clause admits beside its own, as "15", or "15 or 25". */
QString otherLengths(const Clause &clause)
{
    return clause.b == clause.c ? QString::number(clause.b) : QStringLiteral("%1 or %2").arg(clause.b).arg(clause.c);
}

QString clauseText(const Clause &clause)
{
    const int a = clause.a;
    const int b = clause.b;
    switch (clause.check) {
    case Check::IndexAtMost:
        return QStringLiteral("index at most %1").arg(a);
    case Check::IndexAtMostOrAll:
        return QStringLiteral("index at most %1 or %2 (all)").arg(a).arg(rules::indexOfAll);
    case Check::IndexFromTo:
        return QStringLiteral("index from %1 to %2").arg(a).arg(b);
    case Check::IndexNotFromTo:
        return QStringLiteral("index not from %1 to %2").arg(a).arg(b);
    case Check::IndexZeroOrTwo:
        return QStringLiteral("index 0 or 2");
    case Check::Byte4AtMost:
        return QStringLiteral("byte 4 at most %1").arg(a);
    case Check::Byte4FromTo:
        return QStringLiteral("byte 4 from %1 to %2").arg(a).arg(b);
    case Check::Byte4AtMostOrIs:
        return QStringLiteral("byte 4 at most %1 or %2").arg(a).arg(b);
    case Check::Byte5AtMost:
        return QStringLiteral("byte 5 at most %1").arg(a);
    case Check::IndexAtMostOrByte4IsOrByte5Set:
        return QStringLiteral("index at most %1 unless byte 4 is %2 or byte 5 is not 0").arg(a).arg(b);
    case Check::Bytes34FromTo:
        return QStringLiteral("value of bytes 3 and 4 from %1 to %2").arg(a).arg(b);
    case Check::LengthIs:
        return QStringLiteral("length %1").arg(a);
    case Check::LengthAtLeast:
        return QStringLiteral("length at least %1").arg(a);
    case Check::LengthFromTo:
        return QStringLiteral("length from %1 to %2").arg(a).arg(b);
    case Check::LengthIsOrDeclares:
        return QStringLiteral("length %1, or declared length %2 with any payload").arg(a).arg(otherLengths(clause));
    }
    return {};
}

QString ruleText(const Rule &rule)
{
    QStringList clauses;
    for (const Clause &clause : rule) {
        clauses.append(clauseText(clause));
    }
    return clauses.join(QStringLiteral(", then "));
}

/** Whether a length clause fails for what the reply declares, whatever its payload holds. */
bool declaresWrongly(const Reply &reply, const Clause &clause)
{
    Reply ample = reply;
    ample.payloadSize = std::numeric_limits<int>::max();
    return !rules::meets(ample, clause);
}

/** The head bytes by which a broken clause was judged: what one would change to meet it. */
QVector<int> brokenHeadBytes(const Reply &reply, const Clause &clause)
{
    constexpr int index = 3;
    constexpr int byte4 = 4;
    constexpr int byte5 = 5;
    switch (clause.check) {
    case Check::IndexAtMost:
    case Check::IndexAtMostOrAll:
    case Check::IndexFromTo:
    case Check::IndexNotFromTo:
    case Check::IndexZeroOrTwo:
        return {index};
    case Check::Byte4AtMost:
    case Check::Byte4FromTo:
    case Check::Byte4AtMostOrIs:
        return {byte4};
    case Check::Byte5AtMost:
        return {byte5};
    case Check::IndexAtMostOrByte4IsOrByte5Set:
        return {index, byte4, byte5};
    case Check::Bytes34FromTo:
        return {index, byte4};
    case Check::LengthIs:
    case Check::LengthAtLeast:
    case Check::LengthFromTo:
    case Check::LengthIsOrDeclares:
        return declaresWrongly(reply, clause) ? QVector<int>{byte4, byte5} : QVector<int>();
    }
    return {};
}

/** Why a length clause is broken; `allowed` completes "declared length is N, must be ...". */
QString brokenLength(const Reply &reply, const Clause &clause, const QString &allowed)
{
    if (declaresWrongly(reply, clause)) {
        return QStringLiteral("declared length is %1, must be %2")
            .arg(QString::number(reply.declaredLength()), allowed);
    }
    const int needed = clause.check == Check::LengthFromTo ? reply.declaredLength() : clause.a;
    return QStringLiteral("payload holds %1 bytes, needs %2").arg(reply.payloadSize).arg(needed);
}

QString brokenIndex(const Reply &reply, const QString &allowed)
{
    return QStringLiteral("index is %1, %2").arg(QString::number(reply.index), allowed);
}

QString brokenByte(int number, int value, const QString &allowed)
{
    return QStringLiteral("byte %1 is %2, %3").arg(QString::number(number), QString::number(value), allowed);
}

/** Why a clause is broken, with what the reply held. */
QString brokenText(const Reply &reply, const Clause &clause)
{
    const int a = clause.a;
    const int b = clause.b;
    const QString atMost = QStringLiteral("at most %1 allowed").arg(a);
    const QString fromTo = QStringLiteral("%1 to %2 allowed").arg(a).arg(b);
    switch (clause.check) {
    case Check::IndexAtMost:
        return brokenIndex(reply, atMost);
    case Check::IndexAtMostOrAll:
        return brokenIndex(reply, QStringLiteral("at most %1 or %2 (all) allowed").arg(a).arg(rules::indexOfAll));
    case Check::IndexFromTo:
        return brokenIndex(reply, fromTo);
    case Check::IndexNotFromTo:
        return brokenIndex(reply, QStringLiteral("%1 to %2 not allowed").arg(a).arg(b));
    case Check::IndexZeroOrTwo:
        return brokenIndex(reply, QStringLiteral("must be 0 or 2"));
    case Check::Byte4AtMost:
        return brokenByte(4, reply.byte4, atMost);
    case Check::Byte4FromTo:
        return brokenByte(4, reply.byte4, fromTo);
    case Check::Byte4AtMostOrIs:
        return brokenByte(4, reply.byte4, QStringLiteral("at most %1 or %2 allowed").arg(a).arg(b));
    case Check::Byte5AtMost:
        return brokenByte(5, reply.byte5, atMost);
    case Check::IndexAtMostOrByte4IsOrByte5Set:
        return brokenIndex(reply, QStringLiteral("at most %1 allowed while byte 4 is %2, not %3, and byte 5 is 0")
                                      .arg(a)
                                      .arg(reply.byte4)
                                      .arg(b));
    case Check::Bytes34FromTo:
        return QStringLiteral("value of bytes 3 and 4 is %1, %2")
            .arg(QString::number(rules::combineTwoByte(reply.index, reply.byte4)), fromTo);
    case Check::LengthIs:
        return brokenLength(reply, clause, QString::number(a));
    case Check::LengthAtLeast:
        return brokenLength(reply, clause, QStringLiteral("at least %1").arg(a));
    case Check::LengthFromTo:
        return brokenLength(reply, clause, QStringLiteral("%1 to %2").arg(a).arg(b));
    case Check::LengthIsOrDeclares:
        return brokenLength(reply, clause, QStringLiteral("%1 or %2").arg(QString::number(a), otherLengths(clause)));
    }
    return {};
}

/** "08 to 0B" for a run of three or more, else the codes one by one. */
void appendRun(QStringList *words, int first, int last)
{
    constexpr int shortestRange = 3;
    if (last - first + 1 >= shortestRange) {
        words->append(QStringLiteral("%1 to %2").arg(hexByte(first), hexByte(last)));
        return;
    }
    for (int code = first; code <= last; ++code) {
        words->append(hexByte(code));
    }
}

QString subCodesText(const rules::SubCodes &codes)
{
    constexpr int end = 0x100;
    QStringList words;
    for (int first = 0; first < end; ++first) {
        if (!codes.contains(first)) {
            continue;
        }
        int last = first;
        while (last + 1 < end && codes.contains(last + 1)) {
            ++last;
        }
        appendRun(&words, first, last);
        first = last;
    }
    return words.join(QStringLiteral(", "));
}

} // namespace

QVector<CheckedModel> checkedModels()
{
    QVector<CheckedModel> models;
    for (const rules::CheckedType &type : rules::checkedTypes) {
        models.append({type.deviceType, nameOf(type.model)});
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
    const Reply view = rules::viewOf(reply);
    const rules::Verdict verdict = rules::judge(*model, view);
    judgement.accepted = verdict.accepted();
    if (verdict.rule != nullptr) {
        judgement.rule = ruleText(*verdict.rule);
    }
    if (verdict.broken != nullptr) {
        judgement.broken = brokenText(view, *verdict.broken);
        judgement.brokenHeadBytes = brokenHeadBytes(view, *verdict.broken);
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
    const rules::ModelTable own = rules::tableOf(*model);
    for (std::size_t number = 0; number < own.table->rowCount; ++number) {
        const rules::Row &row = own.table->rows[number];
        const Rule &rule = row.rules[own.column];
        if (!rule.empty()) {
            words.append({row.command, subCodesText(row.subCodes), ruleText(rule)});
        }
    }
    return words;
}

QString commandText(const model_Protocoldata &record)
{
    return hexByte(record.ucHead[1]) + QLatin1Char('/') + hexByte(record.ucHead[2]);
}

} // namespace biz::host
