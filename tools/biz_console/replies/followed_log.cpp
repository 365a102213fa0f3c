#include <biz_console/replies/followed_log.h>

#include <common/errors.h>

namespace biz::console {

void FollowedLog::readOn(const std::function<void(const QByteArray &line, const QString &place)> &tell)
{
    if (!m_file.isOpen()) {
        if (!m_file.exists()) {
            return;
        }
        if (!m_file.open(QIODevice::ReadOnly)) {
            throw tools::InputError(QStringLiteral("%1: cannot be read: %2").arg(path(), m_file.errorString()));
        }
    }
    m_unfinished += m_file.readAll();
    if (m_file.error() != QFileDevice::NoError) {
        throw tools::InputError(QStringLiteral("%1: cannot be read: %2").arg(path(), m_file.errorString()));
    }
    int begin = 0;
    for (auto end = m_unfinished.indexOf('\n'); end >= 0; end = m_unfinished.indexOf('\n', begin)) {
        tell(m_unfinished.mid(begin, end - begin),
             QStringLiteral("%1:%2").arg(path(), QString::number(++m_lineNumber)));
        begin = end + 1;
    }
    m_unfinished.remove(0, begin);
}

} // namespace biz::console
