#include <biz_console/replies/log_report.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <biz_console/replies/checked_reply.h>
#include <common/errors.h>
#include <common/files/input_file.h>
#include <common/shown_text.h>

namespace biz::console {

namespace {

Finding judge(const ErrorLogLine &line)
{
    Finding finding;
    finding.line = line;
    const host::CheckedModel *model = modelOfLoggedName(line.loggedName);
    finding.model = model == nullptr ? line.loggedName : model->name;
    if (model != nullptr) {
        finding.judgement = host::judgeReply(model->deviceType, line.reply);
    }
    return finding;
}

void printCount(QTextStream &out, int count, const QString &what)
{
    constexpr int countWidth = 6;
    out << QString::number(count).rightJustified(countWidth) << "  " << what << '\n';
}

} // namespace

QString Finding::rule() const
{
    return judgement.rule.isEmpty() ? QStringLiteral("no rule") : judgement.rule;
}

QString Finding::broken() const
{
    return judgement.accepted ? QStringLiteral("breaks no rule of this version") : judgement.broken;
}

bool Finding::repeats(const Finding &other) const
{
    return line.loggedName == other.line.loggedName && judgedHeadText(line.reply) == judgedHeadText(other.line.reply) &&
           line.reply.baData == other.line.reply.baData;
}

void RuleTally::add(const Finding &finding)
{
    ++m_all;
    ++m_models[finding.model];
    Breaches &breaches = m_rules[{finding.model, finding.codes(), finding.rule()}];
    ++breaches.replies;
    ++breaches.byClause[finding.broken()];
}

void RuleTally::print(QTextStream &out) const
{
    out << (m_all == 0 ? "" : "\n") << m_all << (m_all == 1 ? " rejected reply\n" : " rejected replies\n");
    QString shownModel;
    for (const auto &[place, breaches] : m_rules) {
        if (place.model != shownModel || &place == &m_rules.begin()->first) {
            shownModel = place.model;
            printCount(out, m_models.at(place.model), place.model);
        }
        printCount(out, breaches.replies, QStringLiteral("  %1: %2").arg(place.codes, place.rule));
        for (const auto &[clause, replies] : breaches.byClause) {
            printCount(out, replies, QStringLiteral("    ") + clause);
        }
    }
}

QJsonObject RuleTally::toJson() const
{
    QJsonArray rules;
    for (const auto &[place, breaches] : m_rules) {
        rules.append(QJsonObject{{QStringLiteral("model"), place.model},
                                 {QStringLiteral("command"), place.codes},
                                 {QStringLiteral("rule"), place.rule},
                                 {QStringLiteral("replies"), breaches.replies}});
    }
    return {{QStringLiteral("rejected"), m_all}, {QStringLiteral("byRule"), rules}};
}

void LogReport::read(const QString &path)
{
    const int understoodBefore = m_understood;
    tools::InputFile file(path);
    QByteArray text;
    while (file.next(&text)) {
        line(text, file.place(), file.isWholeLine());
    }
    if (file.lineNumber() > 0 && m_understood == understoodBefore) {
        throw tools::InputError(file.name(),
                                QStringLiteral("an error log expected, but none of its lines is one of a log"));
    }
}

void LogReport::line(const QByteArray &text, const QString &place, bool isWhole)
{
    const auto read = isWhole ? readErrorLogLine(text) : std::nullopt;
    if (!read) {
        noteTorn(place);
        return;
    }
    ++m_understood;
    const Finding finding = judge(*read);
    if (!m_isWanted || m_isWanted(finding)) {
        add(finding);
    }
}

void LogReport::noteTorn(const QString &place)
{
    if (++m_notUnderstood == 1) {
        m_firstNotUnderstood = place;
    }
}

void LogReport::flush()
{
    printGroup();
    m_out.flush();
}

void LogReport::close()
{
    printGroup();
    if (m_asJson) {
        closeJson();
        return;
    }
    m_tally.print(m_out);
    if (m_notUnderstood > 0) {
        m_out << m_notUnderstood
              << (m_notUnderstood == 1 ? " line is torn or not of this log: "
                                       : " lines are torn or not of this log, the first is ")
              << tools::shownText(m_firstNotUnderstood) << '\n';
    }
}

void LogReport::add(const Finding &finding)
{
    m_tally.add(finding);
    if (m_asJson) {
        printJson(finding);
    } else if (m_group && m_group->repeats(finding)) {
        ++m_groupSize;
        m_groupEnd = finding.line.time;
    } else {
        printGroup();
        m_group = finding;
        m_groupSize = 1;
    }
}

/** A run of equal replies, as a device makes them that is asked again and again. */
void LogReport::printGroup()
{
    if (!m_group) {
        return;
    }
    const model_Protocoldata &reply = m_group->line.reply;
    m_out << m_group->line.time << "  " << m_group->model << ' ' << m_group->codes() << " <" << judgedHeadText(reply)
          << "> " << reply.baData.size() << " bytes";
    if (m_groupSize > 1) {
        m_out << "  x " << m_groupSize << ", the last at " << m_groupEnd;
    }
    m_out << "\n    broken: " << m_group->broken() << '\n';
    if (!m_group->judgement.rule.isEmpty()) {
        m_out << "    rule:   " << m_group->judgement.rule << '\n';
    }
    m_group.reset();
}

void LogReport::printJson(const Finding &finding)
{
    QJsonObject object;
    object.insert(QStringLiteral("time"), finding.line.time);
    object.insert(QStringLiteral("model"), finding.model);
    object.insert(QStringLiteral("command"), finding.codes());
    object.insert(QStringLiteral("head"), judgedHeadText(finding.line.reply));
    object.insert(QStringLiteral("data"), QString::fromLatin1(finding.line.reply.baData.toHex()));
    object.insert(QStringLiteral("rule"), finding.judgement.rule);
    object.insert(QStringLiteral("broken"), finding.judgement.broken);
    printObject(object);
}

void LogReport::closeJson()
{
    QJsonObject summary = m_tally.toJson();
    summary.insert(QStringLiteral("notUnderstood"), m_notUnderstood);
    summary.insert(QStringLiteral("firstNotUnderstood"), m_firstNotUnderstood);
    printObject({{QStringLiteral("summary"), summary}});
}

void LogReport::printObject(const QJsonObject &object)
{
    m_out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
}

} // namespace biz::console
