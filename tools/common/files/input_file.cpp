#include <common/files/input_file.h>

#include <cstdio>

#include <unistd.h>

#include <QtCore/QFileInfo>

#include <common/errors.h>

namespace biz::tools {

namespace {

constexpr qint64 maxFileSize = 64LL * 1024 * 1024;

/** What some editors put in front of a text in UTF-8. */
constexpr char byteOrderMark[] = "\xEF\xBB\xBF";

constexpr char standardInput[] = "-";

QString nameOf(const QString &path)
{
    return path == QLatin1String(standardInput) ? QStringLiteral("standard input") : path;
}

[[noreturn]] void failToRead(const QString &name, const QString &why)
{
    throw InputError(QStringLiteral("%1: cannot be read: %2").arg(name, why));
}

/** Opens what can be read; what cannot is told in words for users rather than in those of the class. */
void openForReading(QFile &file, const QString &path)
{
    if (path == QLatin1String(standardInput)) {
        if (!file.open(stdin, QIODevice::ReadOnly)) {
            failToRead(nameOf(path), file.errorString());
        }
        return;
    }
    if (path.isEmpty()) {
        throw InputError(QStringLiteral("the name of a file expected, not an empty one"));
    }
    if (QFileInfo(path).isDir()) {
        failToRead(path, QStringLiteral("it is a folder"));
    }
    file.setFileName(path);
    if (!file.open(QIODevice::ReadOnly)) {
        failToRead(path, file.errorString());
    }
}

// The class does not tell that a line of a stream could not be read; the stream knows, and nothing was called since.
void requireGood(const QFile &file, const QString &name)
{
    if (file.error() != QFileDevice::NoError) {
        failToRead(name, file.errorString());
    }
    if (file.handle() == STDIN_FILENO && std::ferror(stdin) != 0) {
        failToRead(name, qt_error_string());
    }
}

} // namespace

InputText readInputFile(const QString &path)
{
    QFile file;
    openForReading(file, path);
    InputText text{nameOf(path), {}};
    // A pipe gives what it has, piece by piece.
    for (QByteArray piece; text.bytes.size() <= maxFileSize; text.bytes += piece) {
        piece = file.read(maxFileSize + 1 - text.bytes.size());
        if (piece.isEmpty()) {
            break;
        }
    }
    requireGood(file, text.name);
    if (text.bytes.size() > maxFileSize) {
        throw InputError(text.name, QStringLiteral("at most %1 bytes expected").arg(maxFileSize));
    }
    if (text.bytes.startsWith(byteOrderMark)) {
        text.bytes.remove(0, static_cast<int>(qstrlen(byteOrderMark)));
    }
    return text;
}

InputFile::InputFile(const QString &path)
    : m_name(nameOf(path))
{
    openForReading(m_file, path);
}

// A pipe is never known to be at its end before a read finds nothing.
bool InputFile::next(QByteArray *line)
{
    constexpr int longestEnd = 2;
    *line = m_file.readLine(longestLine + longestEnd);
    if (line->isEmpty()) {
        requireGood(m_file, m_name);
        return false;
    }
    m_isWholeLine = line->endsWith('\n');
    if (m_isWholeLine) {
        line->chop(line->endsWith("\r\n") ? 2 : 1);
    }
    if (m_lineNumber == 0 && line->startsWith(byteOrderMark)) {
        line->remove(0, static_cast<int>(qstrlen(byteOrderMark)));
    }
    ++m_lineNumber;
    if (line->size() > longestLine) {
        throw InputError(place(), QStringLiteral("a line of at most %1 bytes expected").arg(longestLine));
    }
    return true;
}

// The standard input of a file goes on where the first reader left off.
bool InputFile::canBeReadAgain() const
{
    return !m_file.isSequential() && m_file.handle() != STDIN_FILENO;
}

QString InputFile::place() const
{
    return QStringLiteral("%1:%2").arg(m_name, QString::number(m_lineNumber));
}

} // namespace biz::tools
