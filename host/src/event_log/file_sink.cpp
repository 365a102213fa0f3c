#include <event_log/file_sink_p.h>

#include <algorithm>

#include <QtCore/QFileInfo>

#include <byte_count_p.h>
#include <timing_p.h>

namespace biz::host {

namespace {

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
    m_needsStart = m_needsStart || m_startLine.isEmpty();
    m_startLine = head.left(startSize);
    // Where that began a file, the head is in it: told once more, it could fill one file after the other.
    const Result result = write(head.mid(startSize));
    return result == Result::Begun ? Result::Written : result;
}

LineSink::Result FileSink::write(const QByteArray &lines)
{
    if (m_sinceFailure.isValid() && !m_sinceFailure.hasExpired(timing::eventLogRetryPeriod.count())) {
        m_lostLines += lines.count('\n');
        return Result::Failed;
    }
    m_hasBegun = false;
    if (m_lostLines > 0 && put(lostLine(m_lostLines)).isEmpty()) {
        m_lostLines = 0;
    }
    const QByteArray left = m_lostLines == 0 ? put(lines) : lines;
    if (!left.isEmpty()) {
        m_lostLines += left.count('\n');
        return fail();
    }
    m_sinceFailure.invalidate();
    return m_hasBegun ? Result::Begun : Result::Written;
}

LineSink::Result FileSink::writeLost()
{
    m_hasBegun = false;
    if (m_lostLines > 0 && !put(lostLine(m_lostLines)).isEmpty()) {
        return fail();
    }
    m_lostLines = 0;
    m_sinceFailure.invalidate();
    return m_hasBegun ? Result::Begun : Result::Written;
}

/** Returns what could not be written. */
QByteArray FileSink::put(QByteArray lines)
{
    while (!lines.isEmpty() && (m_file.isOpen() || open())) {
        const qint64 written = m_file.size();
        const int size = sizeThatFits(lines, written);
        if (size == 0 ? !beginNext() : !append(lines.left(size), written)) {
            break;
        }
        lines.remove(0, size);
    }
    return lines;
}

/** Of whole lines, behind what is written; one that is longer than a file stands alone in it. */
int FileSink::sizeThatFits(const QByteArray &lines, qint64 written) const
{
    const qint64 room = m_settings.maxBytes - written;
    if (m_settings.maxBytes <= 0 || lines.size() <= room) {
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
                       (hasEnd ? QIODevice::Append : QIODevice::NotOpen)) &&
           (!m_needsStart || writeStart());
}

/** In a file of its own where the earlier log has left no room for it. */
bool FileSink::writeStart()
{
    const qint64 written = m_file.size();
    if (written > 0 && sizeThatFits(m_startLine, written) == 0) {
        return beginNext();
    }
    m_hasBegun = true;
    m_needsStart = !append(m_startLine, written);
    return !m_needsStart;
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
    const int oldest = std::max(m_settings.maxFiles, 1) - 1;
    QFile::remove(numbered(m_settings.path, oldest));
    for (int number = oldest; number > 0; --number) {
        QFile::rename(numbered(m_settings.path, number - 1), numbered(m_settings.path, number));
    }
    m_needsStart = false; // not twice, by open()
    if (!open()) {
        m_needsStart = true;
        return false;
    }
    if (m_file.size() > 0) {
        setProblem(QStringLiteral("it is full, and its folder lets nobody rename or remove it"));
        return false;
    }
    m_needsStart = true;
    return writeStart();
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
