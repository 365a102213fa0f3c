#ifndef BIZ_TOOLS_ERRORS_H
#define BIZ_TOOLS_ERRORS_H

#include <stdexcept>

#include <QtCore/QString>
#include <QtCore/QStringList>

/** How the tools fail: what cannot be used is an exception with a sentence for people. */
namespace biz::tools {

/** A command line that cannot be used. */
class UsageError : public std::runtime_error
{
public:
    explicit UsageError(const QString &problem);
    QString text() const { return QString::fromUtf8(what()); }
};

/** A file or a folder that cannot be used; each problem says where in it, and what was expected. */
class InputError : public std::runtime_error
{
public:
    explicit InputError(const QString &problem);
    InputError(const QString &place, const QString &problem);
    explicit InputError(const QStringList &problems);

    /** A line for each problem. */
    QString text() const { return QString::fromUtf8(what()); }
    QStringList problems() const { return text().split(QLatin1Char('\n')); }
};

} // namespace biz::tools

#endif
