#ifndef BIZ_CONSOLE_FOLLOWED_LOG_H
#define BIZ_CONSOLE_FOLLOWED_LOG_H

#include <functional>

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

namespace biz::console {

/**
 * A file that others write to. Only whole lines are told: the rest of a line may still be on its way.
 * It may come into being later.
 */
class FollowedLog
{
public:
    explicit FollowedLog(const QString &path)
        : m_file(path)
    {
    }

    QString path() const { return m_file.fileName(); }

    /** Tells the lines that came since the last call, each with its place. Throws InputError. */
    void readOn(const std::function<void(const QByteArray &line, const QString &place)> &tell);

private:
    QFile m_file;
    QByteArray m_unfinished;
    int m_lineNumber = 0;
};

} // namespace biz::console

#endif
