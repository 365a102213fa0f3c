#include <event_log/file_sink_p.h>

#include <algorithm>

#include <QtCore/QFileInfo>

#include <byte_count_p.h>

namespace biz::host {

namespace {

/** A full disk is tried again as often as this. */
constexpr qint64 retryPeriodMs = 1000;

QString numbered(const QString &path, int number)
{
    return number == 0 ? path : QStringLiteral("%1.%2").arg(path, QString::number(number));
}

} // namespace

FileSink::FileSink(EventFile file)
    : m_settings(std::move(file))
    , m_file(m_settings.path)
{
}

LineSink::Result FileSink::begin(const QByteArray &head)
{
    const auto startSize = head.indexOf('\n') + 1;
    const bool isFirst = m_startLine.isEmpty();
    m_startLine = head.left(startSize);
    return write(isFirst ? head : head.mid(startSize));
}

LineSink::Result FileSink::write(const QByteArray &lines)
{
    if (m_sinceFailure.isValid() && !m_sinceFailure.hasExpired(retryPeriodMs)) {
        m_lostLines += lines.count('\n');
        return Result::Failed;
    }
    QByteArray left = m_lostLines > 0 ? lostLine(m_lostLines) + lines : lines;
    Result result = Result::Written;
    while (!left.isEmpty()) {
        const bool isReady = m_file.isOpen() || open();
        const qint64 written = isReady ? m_file.size() : 0;
        const int size = isReady ? sizeThatFits(left, written) : 0;
        if (isReady && size == 0 && beginNext()) {
            result = Result::Begun;
        } else if (size > 0 && append(left.left(size), written)) {
            left.remove(0, size);
        } else {
            m_lostLines += left.count('\n');
            return fail();
        }
    }
    m_lostLines = 0;
    m_sinceFailure.invalidate();
    return result;
}

/** Of whole lines, behind what is written; one that is longer than a file stands alone in it. */
int FileSink::sizeThatFits(const QByteArray &lines, qint64 written) const
{
    const qint64 room = m_settings.maxBytes - written;
    if (lines.size() <= room) {
        return byteCount(lines);
    }
    const auto size = lines.left(static_cast<int>(std::max<qint64>(room, 0))).lastIndexOf('\n') + 1;
    return static_cast<int>(size == 0 && written <= m_startLine.size() ? lines.indexOf('\n') + 1 : size);
}

/** At the end of what an earlier log has left; a pipe or a terminal has no end. */
bool FileSink::open()
{
    const QFileInfo info(m_settings.path);
    const bool hasEnd = !info.exists() || info.isFile();
    return m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered |
                       (hasEnd ? QIODevice::Append : QIODevice::NotOpen));
}

/** Wholly or not at all, behind what is written: a part of a line would spoil the next one. */
bool FileSink::append(const QByteArray &lines, qint64 written)
{
    if (m_file.write(lines) == lines.size()) {
        return true;
    }
    setProblem(m_file.errorString());
    if (!m_file.isSequential()) {
        m_file.resize(written);
    }
    return false;
}

bool FileSink::beginNext()
{
    m_file.close();
    const int oldest = m_settings.maxFiles - 1;
    QFile::remove(numbered(m_settings.path, oldest));
    for (int number = oldest; number > 0; --number) {
        QFile::rename(numbered(m_settings.path, number - 1), numbered(m_settings.path, number));
    }
    return open() && append(m_startLine, m_file.size());
}

LineSink::Result FileSink::fail()
{
    const QString why = m_file.isOpen() ? problem() : m_file.errorString();
    setProblem(QStringLiteral("%1: %2").arg(m_settings.path, why));
    m_file.close();
    m_sinceFailure.start();
    return Result::Failed;
}

} // namespace biz::host
