#ifndef BIZ_TOOLS_FOLLOWED_FILE_H
#define BIZ_TOOLS_FOLLOWED_FILE_H

#include <optional>

#include <sys/stat.h>

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

namespace biz::tools {

/**
 * A text file that others write to, line by line. It may come into being later, and be emptied. A log that is
 * rotated, "log" to "log.1" to "log.2", is read on in the next newer of these files, so that no line is missed.
 */
class FollowedFile
{
public:
    /** Where reading begins: of a log that was rotated, in the file of this name or in the oldest one. */
    enum class Begin { ThisFile, OldestFile };

    explicit FollowedFile(const QString &path, Begin begin = Begin::ThisFile);

    /**
     * The next line without its end; false when there is none yet. The rest of a line may still be on its way.
     * Throws InputError when the file cannot be read.
     */
    bool next(QByteArray *line);

    /** Whether the line that next() returned last had an end: another's rest will not come, or it is too long. */
    bool isWholeLine() const { return m_isWholeLine; }

    /** What there is of a line is told as a torn one: no more is expected of the file. */
    void giveUpRest();

    /** Where the line is that next() returned last: "events.jsonl:3". */
    QString place() const;

    QString path() const { return m_path; }

    /** Whether there is such a file, or was one. */
    bool isThere() const { return m_file.isOpen(); }

private:
    /** A file whatever its name is. */
    struct Identity
    {
        quint64 device = 0;
        quint64 number = 0;
        qint64 changedNs = 0; ///< when it was written to
    };

    static Identity identityFrom(const struct stat &status);
    static std::optional<Identity> identityOf(const QString &path);
    bool open(const QString &path);
    bool readOn();
    bool takeLine(QByteArray *line);
    QString numbered(int number) const;
    QString successor() const;
    QString oldestSince(int gone) const;
    QString oldest() const;

    QString m_path;
    Begin m_begin;
    QFile m_file;
    Identity m_identity;
    QByteArray m_read; ///< of the file, from `m_taken` on not told yet
    qsizetype m_taken = 0;
    QByteArray m_torn; ///< a line that has no end
    bool m_isWholeLine = true;
    int m_lineNumber = 0;
};

} // namespace biz::tools

#endif
