#include <biz_monitor/sources/file_source.h>

#include <common/errors.h>

namespace biz::monitor {

FileSource::FileSource(const QString &path)
    : m_file(path, tools::FollowedFile::Begin::OldestFile)
{
}

bool FileSource::next(QByteArray *line)
{
    try {
        const bool hasLine = m_file.next(line);
        m_problem.clear();
        return hasLine;
    } catch (const tools::InputError &error) {
        m_problem = error.text();
        return false;
    }
}

QString FileSource::problem() const
{
    if (m_problem.isEmpty() && !m_file.isThere()) {
        return QStringLiteral("%1: there is no such file yet").arg(name());
    }
    return m_problem;
}

} // namespace biz::monitor
