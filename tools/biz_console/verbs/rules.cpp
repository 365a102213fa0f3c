#include <biz_console/verbs/verbs.h>

#include <biz_console/cli/command_line.h>
#include <biz_console/replies/checked_reply.h>

namespace biz::console {

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
