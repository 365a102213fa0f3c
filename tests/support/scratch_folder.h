#ifndef BIZ_TEST_SCRATCH_FOLDER_H
#define BIZ_TEST_SCRATCH_FOLDER_H

#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

namespace biz::test {

/**
 * An empty folder of the test's own, which is the working directory as long as the object
 * lives; then the former one is restored and the folder removed.
 */
class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    /** The absolute path of `name` below the folder; of the folder itself without one. */
    QString path(const QString &name = QString()) const;

private:
    QString m_before;
    QTemporaryDir m_folder;
};

} // namespace biz::test

#endif
