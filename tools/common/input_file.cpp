#include <common/input_file.h>

#include <common/errors.h>

namespace biz::tools {

namespace {

constexpr qint64 maxFileSize = 64LL * 1024 * 1024;

} // namespace

QByteArray readInputFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        throw InputError(QStringLiteral("cannot be read"),
                         file.errorString() + QStringLiteral("; a readable file expected"));
    }
    QByteArray bytes = file.read(maxFileSize + 1);
    if (file.error() != QFileDevice::NoError) {
        throw InputError(QStringLiteral("cannot be read"),
                         file.errorString() + QStringLiteral("; a readable file expected"));
    }
    if (bytes.size() > maxFileSize) {
        throw InputError(QStringLiteral("document"), QStringLiteral("at most %1 bytes expected").arg(maxFileSize));
    }
    return bytes;
}

InputFile::InputFile(const QString &path)
    : m_name(path)
{
    const QString standardInput = QStringLiteral("-");
    bool isOpen = false;
    if (path == standardInput) {
        m_name = QStringLiteral("standard input");
        isOpen = m_file.open(stdin, QIODevice::ReadOnly);
    } else {
        m_file.setFileName(path);
        isOpen = m_file.open(QIODevice::ReadOnly);
    }
    if (!isOpen) {
        throw InputError(QStringLiteral("%1: cannot be read: %2").arg(m_name, m_file.errorString()));
    }
}

// A pipe is never known to be at its end before a read finds nothing.
bool InputFile::next(QByteArray *line)
{
    *line = m_file.readLine();
    if (line->isEmpty()) {
        return false;
    }
    if (line->endsWith('\n')) {
        line->chop(1);
    }
    ++m_lineNumber;
    return true;
}

QString InputFile::place() const
{
    return QStringLiteral("%1:%2").arg(m_name, QString::number(m_lineNumber));
}

} // namespace biz::tools
