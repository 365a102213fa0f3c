#include <biz_console/cli/command_line.h>
#include <biz_console/replies/error_log_file.h>
#include <biz_console/verbs/verbs.h>

#include <map>
#include <optional>

#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <biz_console/replies/checked_reply.h>
#include <biz_console/replies/error_log_line.h>
#include <common/input_file.h>

namespace biz::console {

namespace {

/** A logged reply and what the rules of its model say about it. */
struct Finding
{
    ErrorLogLine line;
    QString model;
    host::ReplyJudgement judgement;

    QString codes() const { return host::commandText(line.reply); }

    QString rule() const { return judgement.rule.isEmpty() ? QStringLiteral("no rule") : judgement.rule; }

    QString broken() const
    {
        return judgement.accepted ? QStringLiteral("breaks no rule of this version") : judgement.broken;
    }

    /** Whether the same reply was refused again. */
    bool repeats(const Finding &other) const
    {
        return line.loggedName == other.line.loggedName &&
               judgedHeadText(line.reply) == judgedHeadText(other.line.reply) &&
               line.reply.baData == other.line.reply.baData;
    }
};

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

/** How often each model broke each of its rules, and how. */
class Tally
{
public:
    void add(const Finding &finding)
    {
        ++m_all;
        ++m_models[finding.model];
        Breaches &breaches = m_rules[{finding.model, finding.codes(), finding.rule()}];
        ++breaches.replies;
        ++breaches.byClause[finding.broken()];
    }

    void print(QTextStream &out) const
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

    QJsonObject toJson() const
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

private:
    static void printCount(QTextStream &out, int count, const QString &what)
    {
        constexpr int countWidth = 6;
        out << QString::number(count).rightJustified(countWidth) << "  " << what << '\n';
    }

    struct Place
    {
        QString model;
        QString codes;
        QString rule;

        bool operator<(const Place &other) const
        {
            return std::tie(model, codes, rule) < std::tie(other.model, other.codes, other.rule);
        }
    };

    struct Breaches
    {
        int replies = 0;
        std::map<QString, int> byClause;
    };

    int m_all = 0;
    std::map<QString, int> m_models;
    std::map<Place, Breaches> m_rules;
};

/** Reads logs and prints what it finds in them. */
class LogReport
{
public:
    LogReport(QTextStream &out, bool asJson)
        : m_out(out)
        , m_asJson(asJson)
    {
    }

    void read(const QString &path)
    {
        tools::InputFile file(path);
        QByteArray text;
        while (file.next(&text)) {
            ErrorLogLine line;
            if (readErrorLogLine(text, &line)) {
                add(judge(line));
            } else if (++m_notUnderstood == 1) {
                m_firstNotUnderstood = file.place();
            }
        }
    }

    void close()
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
                  << m_firstNotUnderstood << '\n';
        }
    }

private:
    void add(const Finding &finding)
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
    void printGroup()
    {
        if (!m_group) {
            return;
        }
        const model_Protocoldata &reply = m_group->line.reply;
        m_out << m_group->line.time << "  " << m_group->model << ' ' << m_group->codes() << " <"
              << judgedHeadText(reply) << "> " << reply.baData.size() << " bytes";
        if (m_groupSize > 1) {
            m_out << "  x " << m_groupSize << ", the last at " << m_groupEnd;
        }
        m_out << "\n    broken: " << m_group->broken() << '\n';
        if (!m_group->judgement.rule.isEmpty()) {
            m_out << "    rule:   " << m_group->judgement.rule << '\n';
        }
        m_group.reset();
    }

    void printJson(const Finding &finding)
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

    void closeJson()
    {
        QJsonObject summary = m_tally.toJson();
        summary.insert(QStringLiteral("notUnderstood"), m_notUnderstood);
        summary.insert(QStringLiteral("firstNotUnderstood"), m_firstNotUnderstood);
        printObject({{QStringLiteral("summary"), summary}});
    }

    void printObject(const QJsonObject &object)
    {
        m_out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    }

    QTextStream &m_out;
    bool m_asJson;
    Tally m_tally;
    std::optional<Finding> m_group; ///< what the next line may repeat
    int m_groupSize = 0;
    QString m_groupEnd;
    int m_notUnderstood = 0;
    QString m_firstNotUnderstood;
};

} // namespace

int runLog(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Reads error logs back: which reply was rejected, and which rule it broke."));
    parser.addPositionalArgument(
        QStringLiteral("file"),
        QStringLiteral("Error logs, - for the standard input; today's below the working directory by default."),
        QStringLiteral("log [FILE...]"));
    const QString jsonOption = QStringLiteral("json");
    parser.addOption({jsonOption, QStringLiteral("Prints one JSON object for each rejected reply, and a summary.")});
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    QStringList files = parser.positionalArguments();
    if (files.isEmpty()) {
        files.append(errorLogOfToday(QDir::currentPath()));
    }
    LogReport report(output.out, parser.isSet(jsonOption));
    for (const QString &file : files) {
        report.read(file);
    }
    report.close();
    return AsExpected;
}

} // namespace biz::console
