#include <common/errors.h>

#include <common/shown_text.h>

namespace biz::tools {

namespace {

/** What is wrong is quoted, often from a file: it may hold whatever a file may hold. */
QString linesOf(const QStringList &problems)
{
    QStringList lines;
    for (const QString &problem : problems) {
        lines.append(shownText(problem));
    }
    return lines.join(QLatin1Char('\n'));
}

} // namespace

UsageError::UsageError(const QString &problem)
    : std::runtime_error(shownText(problem).toStdString())
{
}

InputError::InputError(const QString &problem)
    : InputError(QStringList{problem})
{
}

InputError::InputError(const QString &place, const QString &problem)
    : InputError(place + QStringLiteral(": ") + problem)
{
}

InputError::InputError(const QStringList &problems)
    : std::runtime_error(linesOf(problems).toStdString())
{
}

} // namespace biz::tools
