#include <biz_console/cli/file_names.h>

#include <sys/stat.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <common/errors.h>

namespace biz::console {

namespace {

bool look(const QString &name, struct stat *found)
{
    return stat(QFile::encodeName(name).constData(), found) == 0;
}

/** Where a file will be that is not there yet. */
QString placeOf(const QString &name)
{
    const QFileInfo file(name);
    return QFileInfo(file.absolutePath()).canonicalFilePath() + QLatin1Char('/') + file.fileName();
}

/** Whether two names, of which either may be a link, are of one file. A device such as /dev/null may serve for both. */
bool isSameFile(const QString &one, const QString &other)
{
    struct stat first = {};
    struct stat second = {};
    const bool isFirstThere = look(one, &first);
    const bool isSecondThere = look(other, &second);
    if (!isFirstThere && !isSecondThere) {
        return placeOf(one) == placeOf(other);
    }
    return isFirstThere && isSecondThere && S_ISREG(first.st_mode) && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

} // namespace

void requireOtherFile(const QString &option, const QString &written, const QString &read, const QString &what)
{
    if (isSameFile(written, read)) {
        throw tools::UsageError(QStringLiteral("--%1: another file than %2 expected").arg(option, what));
    }
}

FileNames::FileNames(const QString &sessionFile)
{
    if (!sessionFile.isEmpty()) {
        m_taken.push_back({sessionFile, QStringLiteral("that of the session")});
    }
}

QString FileNames::written(const QString &option, const QString &name)
{
    if (name.isEmpty()) {
        throw tools::UsageError(QStringLiteral("--%1: the name of a file expected, not an empty one").arg(option));
    }
    if (name == QLatin1String("-")) {
        throw tools::UsageError(
            QStringLiteral("--%1: the name of a file expected, not '-': it is not written to the standard output")
                .arg(option));
    }
    for (const Taken &each : m_taken) {
        requireOtherFile(option, name, each.name, each.what);
    }
    m_taken.push_back({name, QStringLiteral("that of --") + option});
    return QFileInfo(name).absoluteFilePath();
}

} // namespace biz::console
