#ifndef BIZ_HOST_FLEET_WORKER_PROCESS_P_H
#define BIZ_HOST_FLEET_WORKER_PROCESS_P_H

#include <QtCore/QByteArray>
#include <QtCore/QProcess>
#include <QtCore/QString>

#include <sys/types.h>

namespace biz::host {

/**
 * A worker in its folder. It holds the folder's lock for as long as it lives, whatever program it is, and the
 * system kills it when the thread that has started it ends, however that ends.
 */
class WorkerProcess : public QProcess
{
    Q_OBJECT

public:
    /** What a process exits with that could not take the lock. */
    static constexpr int lockTaken = 125;

    explicit WorkerProcess(const QString &folder, QObject *parent = nullptr);
    ~WorkerProcess() override;

    /** The system's error of an attempt to take the folder's lock; EWOULDBLOCK: a process works there; 0: none. */
    static int lockError(const QString &folder);

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
protected:
    void setupChildProcess() override;
#endif

private:
    void prepare() const;

    const QByteArray m_lockFile;
    const pid_t m_application;
};

} // namespace biz::host

#endif
