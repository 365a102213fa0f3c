#include <biz_console/verbs/verbs.h>

#include <QtCore/QJsonDocument>

#include <biz_console/cli/command_line.h>
#include <biz_console/replies/checked_reply.h>
#include <common/errors.h>
#include <common/files/input_file.h>
#include <common/hex.h>
#include <common/shown_text.h>

namespace biz::console {

namespace {

QString sizeOption()
{
    return QStringLiteral("size");
}

QString fileOption()
{
    return QStringLiteral("file");
}

QString jsonOption()
{
    return QStringLiteral("json");
}

void printObject(QTextStream &out, const QJsonObject &object)
{
    out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
}

/** Judges the replies of a file and counts how they did. */
class FileCheck
{
public:
    FileCheck(const Output &output, bool asJson)
        : m_output(output)
        , m_asJson(asJson)
    {
    }

    /** Each line holds a reply, of `model` or of the model that it begins with. */
    ExitCode judge(const QString &path, const QString &model)
    {
        tools::InputFile file(path);
        QByteArray line;
        while (file.next(&line)) {
            const QString text = QString::fromUtf8(line).trimmed();
            if (!text.isEmpty() && !text.startsWith(QLatin1Char('#'))) {
                judgeLine(file, text, model);
            }
        }
        if (!file.isWholeLine()) {
            m_output.err << "biz_console: " << tools::shownText(file.place())
                         << ": no line feed ends the last line; it was judged as it stands\n";
        }
        close();
        if (m_bad > 0) {
            return BadInput;
        }
        return m_refused == 0 ? AsExpected : NotAsExpected;
    }

private:
    void judgeLine(const tools::InputFile &file, const QString &text, const QString &model)
    {
        try {
            const CheckedReply reply = model.isEmpty() ? CheckedReply::fromTextWithModel(text)
                                                       : CheckedReply::fromText(modelNamed(model), text);
            ++(reply.isAccepted() ? m_accepted : m_refused);
            print(file, reply);
        } catch (const tools::UsageError &error) {
            ++m_bad;
            m_output.err << "biz_console: " << tools::shownText(file.place()) << ": " << error.text() << '\n';
        }
    }

    void print(const tools::InputFile &file, const CheckedReply &reply)
    {
        if (m_asJson) {
            QJsonObject object = reply.toJson();
            object.insert(QStringLiteral("file"), file.name());
            object.insert(QStringLiteral("line"), file.lineNumber());
            printObject(m_output.out, object);
            return;
        }
        m_output.out << tools::shownText(file.place()) << ": " << reply.verdict() << '\n';
        for (const QString &line : reply.explanation()) {
            m_output.out << line << '\n';
        }
    }

    void close()
    {
        const int replies = m_accepted + m_refused;
        if (m_asJson) {
            const QJsonObject summary{{QStringLiteral("replies"), replies},
                                      {QStringLiteral("accepted"), m_accepted},
                                      {QStringLiteral("refused"), m_refused},
                                      {QStringLiteral("badLines"), m_bad}};
            printObject(m_output.out, {{QStringLiteral("summary"), summary}});
            return;
        }
        m_output.out << (replies == 0 ? "" : "\n") << replies << (replies == 1 ? " reply: " : " replies: ")
                     << m_accepted << " accepted, " << m_refused << " refused\n";
    }

    const Output &m_output;
    bool m_asJson;
    int m_accepted = 0;
    int m_refused = 0;
    int m_bad = 0;
};

QByteArray payloadOf(const QString &text)
{
    const auto payload = tools::bytesFromHex(text);
    if (!payload) {
        throw tools::UsageError(QStringLiteral("the payload in hexadecimal expected, not '%1'").arg(text));
    }
    return *payload;
}

int checkFile(const QCommandLineParser &parser, const Output &output)
{
    const QStringList given = parser.positionalArguments();
    if (given.size() > 1 || parser.isSet(sizeOption())) {
        throw tools::UsageError(QStringLiteral("--file: a model or nothing expected beside it"));
    }
    const QString model = given.value(0);
    if (!given.isEmpty()) {
        modelNamed(model);
    }
    return FileCheck(output, parser.isSet(jsonOption())).judge(parser.value(fileOption()), model);
}

CheckedReply replyOf(const QCommandLineParser &parser)
{
    const QStringList given = parser.positionalArguments();
    if (given.size() == 1 && given.first().startsWith(QLatin1Char('['))) {
        refuseOptions(parser, {sizeOption()}, "is not for a line of the error log, which has its payload");
        return CheckedReply::fromTextWithModel(given.first());
    }
    const bool hasSize = parser.isSet(sizeOption());
    if (given.size() != (hasSize ? 2 : 3)) {
        throw tools::UsageError(
            QStringLiteral("a model, a head and either a payload or --size expected, or a line of the error log"));
    }
    const host::CheckedModel model = modelNamed(given.at(0));
    const QByteArray head = checkedHeadOf(given.at(1));
    const QByteArray payload = hasSize ? payloadOfSize(parser.value(sizeOption())) : payloadOf(given.at(2));
    return {model, head, payload};
}

int checkOne(const QCommandLineParser &parser, const Output &output)
{
    const CheckedReply reply = replyOf(parser);
    if (parser.isSet(jsonOption())) {
        printObject(output.out, reply.toJson());
    } else {
        output.out << reply.verdict() << '\n'
                   << reply.explanation().join(QLatin1Char('\n')) << '\n'
                   << reply.meaning() << '\n';
    }
    return reply.isAccepted() ? AsExpected : NotAsExpected;
}

} // namespace

int runCheck(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Judges replies by the rules of a model, without a device: one that is given, also as a line of the error\n"
        "log in quotes, or those of a file.\n"
        "Exit status: 0 all accepted, 1 one refused, 2 a line of the file cannot be read."));
    parser.addPositionalArgument(QStringLiteral("model"), QStringLiteral("The model, such as A2."),
                                 QStringLiteral("check MODEL"));
    parser.addPositionalArgument(QStringLiteral("head"), QStringLiteral("Bytes 1 to 5 of the head, in hexadecimal."),
                                 QStringLiteral("HEAD"));
    parser.addPositionalArgument(QStringLiteral("payload"), QStringLiteral("The payload in hexadecimal."),
                                 QStringLiteral("[PAYLOAD]"));
    parser.addOption({sizeOption(), QStringLiteral("A payload of <n> bytes instead."), QStringLiteral("n")});
    parser.addOption({fileOption(),
                      QStringLiteral("Judges every line of <file>, - for the standard input, such as \"A2  F1 08 03 "
                                     "62 01  354 bytes\" or the payload in hexadecimal; without the model when it is "
                                     "given."),
                      QStringLiteral("file")});
    parser.addOption({jsonOption(), QStringLiteral("Prints one JSON object for each reply, and a summary of a file.")});
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    return parser.isSet(fileOption()) ? checkFile(parser, output) : checkOne(parser, output);
}

} // namespace biz::console
