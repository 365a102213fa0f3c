#ifndef BIZ_CONSOLE_FOLLOWED_LOG_H
#define BIZ_CONSOLE_FOLLOWED_LOG_H

#include <functional>

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

namespace biz::console {

/**
 * A file that others write to, by its name: it may come into being later, be emptied, or be replaced
 * by another file of the name, as programs do that rotate logs. Only whole lines are told as such: the
 * rest of a line may still be on its way.
 */
class FollowedLog
{
public:
    /** `place` is that in the file of the moment: "today.log:3". */
    using Tell = std::function<void(const QByteArray &line, const QString &place, bool isWhole)>;

    explicit FollowedLog(const QString &path)
        : m_file(path)
    {
    }

    QString path() const { return m_file.fileName(); }

    /** Tells the lines that came since the last call. Throws InputError. */
    void readOn(const Tell &tell);

    /** Tells what there is of a line whose rest will not come. */
    void finish(const Tell &tell);

private:
    bool openIfThere();
    void read(const Tell &tell);
    void tellWholeLines(const Tell &tell);
    QString nextPlace();
    bool isEmptied() const { return m_file.size() < m_file.pos(); }
    bool isReplaced() const;

    QFile m_file;
    QByteArray m_unfinished;
    int m_lineNumber = 0;
};

} // namespace biz::console

#endif
