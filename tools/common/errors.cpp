#include <common/errors.h>

namespace biz::tools {

namespace {

/** A null byte, which a name in a JSON text may hold, would end the message. */
std::string withoutNullBytes(QString text)
{
    return text.replace(QChar(u'\0'), QChar(QChar::ReplacementCharacter)).toStdString();
}

} // namespace

UsageError::UsageError(const QString &problem)
    : std::runtime_error(withoutNullBytes(problem))
{
}

InputError::InputError(const QString &problem)
    : std::runtime_error(withoutNullBytes(problem))
{
}

InputError::InputError(const QString &place, const QString &problem)
    : InputError(place + QStringLiteral(": ") + problem)
{
}

} // namespace biz::tools
