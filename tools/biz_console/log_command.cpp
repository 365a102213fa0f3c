#include <biz_console/command_line.h>

#include <map>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <biz_console/error_log_line.h>

namespace biz::console {

namespace {

constexpr int firstHeadByte = 1;
constexpr int shownHeadBytes = 5;

QString headText(const model_Protocoldata &reply)
{
    const auto *first = reinterpret_cast<const char *>(reply.ucHead + firstHeadByte);
    return QString::fromLatin1(QByteArray(first, shownHeadBytes).toHex(' '));
}

/** A logged reply and what the rules of its model say about it. */
struct Finding
{
    ErrorLogLine line;
    QString model;
    host::ReplyJudgement judgement;

    QString broken() const
    {
        return judgement.accepted ? QStringLiteral("breaks no rule of this version") : judgement.broken;
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
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            throw InputError(QStringLiteral("%1: cannot be read: %2").arg(path, file.errorString()));
        }
        for (int number = 1; !file.atEnd(); ++number) {
            QByteArray text = file.readLine();
            if (text.endsWith('\n')) {
                text.chop(1);
            }
            ErrorLogLine line;
            if (readErrorLogLine(text, &line)) {
                add(judge(line));
            } else if (++m_notUnderstood == 1) {
                m_firstNotUnderstood = QStringLiteral("%1:%2").arg(path, QString::number(number));
            }
        }
    }

    void close()
    {
        if (m_asJson) {
            return;
        }
        m_out << (m_count == 0 ? "" : "\n") << m_count << (m_count == 1 ? " rejected reply\n" : " rejected replies\n");
        for (const auto &group : m_groups) {
            m_out << QString::number(group.second).rightJustified(countWidth) << "  " << group.first << '\n';
        }
        if (m_notUnderstood > 0) {
            m_out << m_notUnderstood << " lines are torn or not of this log, the first is " << m_firstNotUnderstood
                  << '\n';
        }
    }

private:
    static constexpr int countWidth = 6;

    void add(const Finding &finding)
    {
        ++m_count;
        const QString codes = host::commandText(finding.line.reply);
        ++m_groups[QStringLiteral("%1 %2: %3").arg(finding.model, codes, finding.broken())];
        if (m_asJson) {
            printJson(finding, codes);
        } else {
            print(finding, codes);
        }
    }

    void print(const Finding &finding, const QString &codes)
    {
        m_out << finding.line.time << "  " << finding.model << ' ' << codes << " <" << headText(finding.line.reply)
              << "> " << finding.line.reply.baData.size() << " bytes\n"
              << "    broken: " << finding.broken() << '\n';
        if (!finding.judgement.rule.isEmpty()) {
            m_out << "    rule:   " << finding.judgement.rule << '\n';
        }
    }

    void printJson(const Finding &finding, const QString &codes)
    {
        QJsonObject object;
        object.insert(QStringLiteral("time"), finding.line.time);
        object.insert(QStringLiteral("model"), finding.model);
        object.insert(QStringLiteral("command"), codes);
        object.insert(QStringLiteral("head"), headText(finding.line.reply));
        object.insert(QStringLiteral("data"), QString::fromLatin1(finding.line.reply.baData.toHex()));
        object.insert(QStringLiteral("rule"), finding.judgement.rule);
        object.insert(QStringLiteral("broken"), finding.judgement.broken);
        m_out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
    }

    QTextStream &m_out;
    bool m_asJson;
    int m_count = 0;
    int m_notUnderstood = 0;
    QString m_firstNotUnderstood;
    std::map<QString, int> m_groups;
};

} // namespace

int runLog(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Reads error logs back: which reply was rejected, and which rule it broke."));
    parser.addPositionalArgument(QStringLiteral("file"),
                                 QStringLiteral("Error logs; today's below the working directory by default."),
                                 QStringLiteral("log [FILE...]"));
    const QString jsonOption = QStringLiteral("json");
    parser.addOption({jsonOption, QStringLiteral("Prints one JSON object for each rejected reply.")});
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
