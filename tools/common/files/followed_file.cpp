#include <common/files/followed_file.h>

#include <sys/stat.h>

#include <QtCore/QFileInfo>

#include <common/errors.h>
#include <common/files/input_file.h>

namespace biz::tools {

namespace {

constexpr qint64 pieceSize = 256 * 1024;

/** Logs have fewer files than this, and no gap among them. */
constexpr int mostFiles = 1000;

} // namespace

FollowedFile::FollowedFile(const QString &path, Begin begin)
    : m_path(path)
    , m_begin(begin)
{
}

FollowedFile::Identity FollowedFile::identityFrom(const struct stat &status)
{
    constexpr qint64 nsPerSecond = 1'000'000'000;
    return {static_cast<quint64>(status.st_dev), static_cast<quint64>(status.st_ino),
            qint64{status.st_mtim.tv_sec} * nsPerSecond + status.st_mtim.tv_nsec};
}

std::optional<FollowedFile::Identity> FollowedFile::identityOf(const QString &path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0) {
        return std::nullopt;
    }
    return identityFrom(status);
}

bool FollowedFile::next(QByteArray *line)
{
    while (!takeLine(line)) {
        if (!readOn()) {
            return false;
        }
    }
    ++m_lineNumber;
    return true;
}

bool FollowedFile::takeLine(QByteArray *line)
{
    const auto end = m_read.indexOf('\n', static_cast<int>(m_taken));
    if (end < 0) {
        m_isWholeLine = m_torn.isEmpty();
        line->swap(m_torn);
        m_torn.clear();
        return !m_isWholeLine;
    }
    const bool hasReturn = end > m_taken && m_read.at(end - 1) == '\r';
    *line = m_read.mid(static_cast<int>(m_taken), static_cast<int>(end - m_taken - (hasReturn ? 1 : 0)));
    m_taken = end + 1;
    m_isWholeLine = true;
    return true;
}

void FollowedFile::giveUpRest()
{
    const auto begin = m_read.lastIndexOf('\n') + 1;
    m_torn = m_read.mid(begin);
    m_read.truncate(begin);
}

QString FollowedFile::place() const
{
    return QStringLiteral("%1:%2").arg(m_path, QString::number(m_lineNumber));
}

QString FollowedFile::numbered(int number) const
{
    return number == 0 ? m_path : QStringLiteral("%1.%2").arg(m_path, QString::number(number));
}

bool FollowedFile::open(const QString &path)
{
    const std::optional<Identity> identity = identityOf(path);
    if (!identity) {
        return false;
    }
    const QFileInfo there(path);
    if (!there.isFile()) {
        throw InputError(
            QStringLiteral("%1: cannot be read: %2")
                .arg(path, there.isDir() ? QStringLiteral("it is a folder") : QStringLiteral("it is no plain file")));
    }
    m_file.close();
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        throw InputError(QStringLiteral("%1: cannot be read: %2").arg(path, m_file.errorString()));
    }
    m_identity = *identity;
    m_read.clear();
    m_taken = 0;
    m_lineNumber = 0;
    return true;
}

/** The file that was begun after this one; empty while this one is the newest. */
QString FollowedFile::successor() const
{
    int number = 0;
    for (auto there = identityOf(m_path); there && number < mostFiles; there = identityOf(numbered(++number))) {
        if (there->device == m_identity.device && there->number == m_identity.number) {
            return number == 0 ? QString() : numbered(number - 1);
        }
    }
    return oldestSince(m_file.handle());
}

/** What was read last is gone: the oldest file goes on that was written to since. */
QString FollowedFile::oldestSince(int gone) const
{
    struct stat own = {};
    const qint64 changedNs = fstat(gone, &own) == 0 ? identityFrom(own).changedNs : 0;
    QString newer;
    for (int number = 0; number < mostFiles; ++number) {
        const std::optional<Identity> identity = identityOf(numbered(number));
        if (!identity || (number > 0 && identity->changedNs < changedNs)) {
            break;
        }
        newer = numbered(number);
    }
    return newer;
}

QString FollowedFile::oldest() const
{
    int number = 0;
    while (number < mostFiles && QFile::exists(numbered(number + 1))) {
        ++number;
    }
    return numbered(number);
}

/** Reads a piece more, of this file or of the next one; false when there is nothing. */
bool FollowedFile::readOn()
{
    if (!m_file.isOpen()) {
        return open(m_begin == Begin::OldestFile ? oldest() : m_path);
    }
    // Asked for before reading, so that what was written until the renaming is read.
    const QString newer = successor();
    const bool isEmptied = m_file.size() < m_file.pos();
    m_read.remove(0, static_cast<int>(m_taken));
    m_taken = 0;
    const QByteArray piece = isEmptied ? QByteArray() : m_file.read(pieceSize);
    if (m_file.error() != QFileDevice::NoError) {
        throw InputError(QStringLiteral("%1: cannot be read: %2").arg(m_path, m_file.errorString()));
    }
    m_read += piece;
    const bool isTooLong = m_read.size() > longestLine && m_read.indexOf('\n') < 0;
    const bool isOver = piece.isEmpty() && (isEmptied || !newer.isEmpty());
    if (isTooLong || (isOver && !m_read.isEmpty())) {
        giveUpRest();
        return true;
    }
    return isOver ? open(isEmptied ? m_file.fileName() : newer) : !piece.isEmpty();
}

} // namespace biz::tools
