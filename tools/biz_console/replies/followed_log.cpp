#include <biz_console/replies/followed_log.h>

#include <sys/stat.h>

#include <common/errors.h>

namespace biz::console {

namespace {

constexpr qint64 pieceBytes = 1024 * 1024;

/** At most so many in one call: a file that never ends is not to keep the console from hearing of a signal. */
constexpr int piecesPerCall = 64;

/** Several times as long as any line of a log: what goes on for longer is none. */
constexpr int longestLineBytes = 1024 * 1024;

} // namespace

void FollowedLog::readOn(const Tell &tell)
{
    if (!openIfThere()) {
        return;
    }
    read(tell);
    const bool isOther = isReplaced();
    if (isOther) {
        read(tell); // what came before it was replaced
    }
    if (isOther || isEmptied()) {
        finish(tell);
        m_file.close();
        m_lineNumber = 0;
        if (openIfThere()) {
            read(tell);
        }
    }
}

bool FollowedLog::openIfThere()
{
    if (m_file.isOpen()) {
        return true;
    }
    if (!m_file.exists()) {
        return false;
    }
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        throw tools::InputError(QStringLiteral("%1: cannot be read: %2").arg(path(), m_file.errorString()));
    }
    return true;
}

void FollowedLog::read(const Tell &tell)
{
    for (int i = 0; i < piecesPerCall; ++i) {
        const QByteArray piece = m_file.read(pieceBytes);
        if (m_file.error() != QFileDevice::NoError) {
            throw tools::InputError(QStringLiteral("%1: cannot be read: %2").arg(path(), m_file.errorString()));
        }
        if (piece.isEmpty()) {
            return;
        }
        m_unfinished += piece;
        tellWholeLines(tell);
        if (m_unfinished.size() > longestLineBytes) {
            finish(tell);
        }
    }
}

void FollowedLog::tellWholeLines(const Tell &tell)
{
    int begin = 0;
    for (auto end = m_unfinished.indexOf('\n'); end >= 0; end = m_unfinished.indexOf('\n', begin)) {
        tell(m_unfinished.mid(begin, static_cast<int>(end) - begin), nextPlace(), true);
        begin = static_cast<int>(end) + 1;
    }
    m_unfinished.remove(0, begin);
}

void FollowedLog::finish(const Tell &tell)
{
    if (!m_unfinished.isEmpty()) {
        tell(m_unfinished, nextPlace(), false);
        m_unfinished.clear();
    }
}

QString FollowedLog::nextPlace()
{
    return QStringLiteral("%1:%2").arg(path(), QString::number(++m_lineNumber));
}

/** Another file has the name now; while none has it, the one that is open may still be written to. */
bool FollowedLog::isReplaced() const
{
    struct stat opened = {};
    struct stat named = {};
    return fstat(m_file.handle(), &opened) == 0 && stat(QFile::encodeName(path()).constData(), &named) == 0 &&
           (opened.st_dev != named.st_dev || opened.st_ino != named.st_ino);
}

} // namespace biz::console
