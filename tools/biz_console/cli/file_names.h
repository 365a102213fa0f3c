#ifndef BIZ_CONSOLE_FILE_NAMES_H
#define BIZ_CONSOLE_FILE_NAMES_H

#include <vector>

#include <QtCore/QString>

namespace biz::console {

/** A file that an option writes must not be one that is read, which `what` names. Throws UsageError. */
void requireOtherFile(const QString &option, const QString &written, const QString &read, const QString &what);

/** The files that one command line names: none is written by two options, nor read and written. */
class FileNames
{
public:
    /** The session is read; none when the name is empty. */
    explicit FileNames(const QString &sessionFile);

    /**
     * The absolute name of a file that an option writes, since --log-dir changes the working directory later on. Throws
     * UsageError when the session or another option has the file.
     */
    QString written(const QString &option, const QString &name);

private:
    struct Taken
    {
        QString name;
        QString what;
    };

    std::vector<Taken> m_taken;
};

} // namespace biz::console

#endif
