#ifndef BIZ_TOOLS_INPUT_FILE_H
#define BIZ_TOOLS_INPUT_FILE_H

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

namespace biz::tools {

/** What a file holds, and its name as messages show it. */
struct InputText
{
    QString name;
    QByteArray bytes;
};

/**
 * Reads a file, "-" for the standard input. Throws InputError when it cannot be read, or is
 * larger than any that people write.
 */
InputText readInputFile(const QString &path);

/** Several times as long as any line of a log or a recording, in bytes: what goes on for longer is none. */
constexpr int longestLine = 4 * 1024 * 1024;

/** A text file that is read line by line; "-" is the standard input. */
class InputFile
{
public:
    /** Opens it. Throws InputError. */
    explicit InputFile(const QString &path);

    /**
     * The next line without its end, be that a line feed or carriage return and line feed;
     * false after the last one. Throws InputError when it cannot be read, or is longer than any line should be.
     */
    bool next(QByteArray *line);

    /** Whether the line that next() returned last had an end: what has none may be torn. */
    bool isWholeLine() const { return m_isWholeLine; }

    /** Where the line is that next() returned last: "replies.txt:3". */
    QString place() const;

    /** The name as messages show it. */
    QString name() const { return m_name; }

    int lineNumber() const { return m_lineNumber; }

    /** Whether the same can be read again under this name: what came through a pipe is gone. */
    bool canBeReadAgain() const;

private:
    QFile m_file;
    QString m_name;
    int m_lineNumber = 0;
    bool m_isWholeLine = true;
};

} // namespace biz::tools

#endif
