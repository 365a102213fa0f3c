#ifndef BIZ_TOOLS_INPUT_FILE_H
#define BIZ_TOOLS_INPUT_FILE_H

#include <QtCore/QFile>
#include <QtCore/QString>

namespace biz::tools {

/** The bytes of a file; an InputError when it cannot be read, or is larger than any that people write. */
QByteArray readInputFile(const QString &path);

/** A text file that is read line by line; "-" is the standard input. */
class InputFile
{
public:
    /** Opens it. Throws InputError. */
    explicit InputFile(const QString &path);

    /** The next line without its end; false after the last one. */
    bool next(QByteArray *line);

    /** Where the line is that next() returned last: "replies.txt:3". */
    QString place() const;

    /** The name as messages show it. */
    QString name() const { return m_name; }

    int lineNumber() const { return m_lineNumber; }

private:
    QFile m_file;
    QString m_name;
    int m_lineNumber = 0;
};

} // namespace biz::tools

#endif
