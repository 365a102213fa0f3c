#include <fleet/worker_process_p.h>

#include <cerrno>
#include <csignal>

#include <QtCore/QFile>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace biz::host {

namespace {

constexpr mode_t ownerOnly = 0600;

/** Absolute, since the process that locks it has changed into its folder by then, or not. */
QByteArray lockFileOf(const QString &folder)
{
    return QFile::encodeName(folder + QStringLiteral("/worker.lock"));
}

/** The descriptor that holds the lock; negative, with errno, when there is none. */
int lock(const char *file, int furtherFlags)
{
    const int descriptor = open(file, O_RDWR | O_CREAT | furtherFlags, ownerOnly);
    if (descriptor >= 0 && flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        close(descriptor);
        errno = error;
        return -1;
    }
    return descriptor;
}

} // namespace

WorkerProcess::WorkerProcess(const QString &folder, QObject *parent)
    : QProcess(parent)
    , m_lockFile(lockFileOf(folder))
    , m_application(getpid())
{
    setWorkingDirectory(folder);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    setChildProcessModifier([this] { prepare(); });
#endif
}

WorkerProcess::~WorkerProcess() = default;

int WorkerProcess::lockError(const QString &folder)
{
    const int descriptor = lock(lockFileOf(folder).constData(), O_CLOEXEC);
    if (descriptor < 0) {
        return errno;
    }
    ::close(descriptor);
    return 0;
}

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
void WorkerProcess::setupChildProcess()
{
    prepare();
}
#endif

/** Between fork and exec, where next to nothing is allowed. The descriptor stays open in the worker: it is the lock. */
void WorkerProcess::prepare() const
{
    const bool diesWithApplication = prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == m_application;
    if (!diesWithApplication || lock(m_lockFile.constData(), 0) < 0) {
        _exit(lockTaken);
    }
}

} // namespace biz::host
