#include <common/option_errors.h>

#include <QtCore/QRegularExpression>

#include <common/suggestion.h>

namespace biz::tools {

namespace {

/** The long names of the options, or of those that take a value; the parser lists them in its help only. */
QStringList optionNames(const QCommandLineParser &parser, bool takingValues = false)
{
    const QRegularExpression form(QStringLiteral("^  (?:-[a-z], )?(--[a-z-]+)") +
                                      (takingValues ? QStringLiteral(" <") : QString()),
                                  QRegularExpression::MultilineOption);
    QStringList names;
    QRegularExpressionMatchIterator matches = form.globalMatch(parser.helpText());
    while (matches.hasNext()) {
        names.append(matches.next().captured(1));
    }
    return names;
}

/**
 * The argument that holds an option nobody knows. A single dash before a word is the most frequent
 * mistake, of which the parser takes each letter for an option: `-device`.
 */
QString wrongArgument(const QCommandLineParser &parser, const QStringList &arguments)
{
    for (const QString &argument : arguments) {
        const bool isShort = argument.startsWith(QLatin1Char('-')) && !argument.startsWith(QLatin1String("--"));
        if (isShort && argument.size() > 2) {
            return argument;
        }
    }
    const QString name = parser.unknownOptionNames().constFirst();
    return QString(name.size() == 1 ? 1 : 2, QLatin1Char('-')) + name;
}

/** A value where none belongs, or none where one does, which can be behind the last argument only. */
QString valueError(const QCommandLineParser &parser, const QStringList &arguments)
{
    const QStringList takingValues = optionNames(parser, true);
    for (const QString &argument : arguments) {
        const QString name = argument.section(QLatin1Char('='), 0, 0);
        if (name != argument && name.startsWith(QLatin1String("--")) && !takingValues.contains(name)) {
            return name + QStringLiteral(": no value expected");
        }
    }
    return arguments.value(arguments.size() - 1) + QStringLiteral(": a value expected");
}

} // namespace

QString optionError(const QCommandLineParser &parser, const QStringList &arguments)
{
    if (parser.unknownOptionNames().isEmpty()) {
        return valueError(parser, arguments);
    }
    const QString wrong = wrongArgument(parser, arguments);
    const bool isShort = !wrong.startsWith(QLatin1String("--"));
    const QString word = (isShort ? QStringLiteral("-") : QString()) + wrong.section(QLatin1Char('='), 0, 0);
    return QStringLiteral("unknown option '%1'").arg(wrong) + suggestionFor(word, optionNames(parser));
}

} // namespace biz::tools
