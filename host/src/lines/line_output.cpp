#include <lines/line_output_p.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace biz::host {

namespace {

bool isSocket(int descriptor)
{
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

} // namespace

LineOutput::LineOutput(int descriptor, QObject *parent)
    : QObject(parent)
    , m_descriptor(descriptor)
    , m_isSocket(isSocket(descriptor))
    , m_notifier(descriptor, QSocketNotifier::Write)
{
    m_notifier.setEnabled(false);
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] { onWritable(); });
}

LineOutput::~LineOutput() = default;

void LineOutput::write(const QByteArray &line)
{
    if (m_isGone) {
        return;
    }
    m_held.append(line);
    push();
}

void LineOutput::onWritable()
{
    push();
    if (hasLeft()) {
        Q_EMIT left();
    }
}

void LineOutput::push()
{
    while (!hasLeft() && !m_isGone && hasRoom()) {
        const qint64 written = writeSome(m_held.constData() + m_begin, held());
        if (written >= 0) {
            m_begin += static_cast<int>(written);
            m_bytesLeft += written;
        } else if (errno == EAGAIN) {
            break;
        } else if (errno != EINTR) {
            m_isGone = true;
            m_hasFailed = errno != EPIPE && errno != ECONNRESET;
        }
    }
    if (hasLeft() || m_isGone) {
        m_held.clear();
        m_begin = 0;
    } else if (m_begin > m_held.size() / 2) {
        m_held.remove(0, m_begin);
        m_begin = 0;
    }
    m_notifier.setEnabled(!hasLeft());
    if (m_isGone) {
        Q_EMIT gone();
    }
}

bool LineOutput::hasRoom() const
{
    constexpr int atOnce = 0;
    pollfd output = {m_descriptor, POLLOUT, 0};
    return poll(&output, 1, atOnce) > 0;
}

/** The descriptor may be shared with other processes, so that it is not made non-blocking: what fits does not block. */
qint64 LineOutput::writeSome(const char *bytes, qint64 size) const
{
    return m_isSocket ? send(m_descriptor, bytes, static_cast<size_t>(size), MSG_DONTWAIT | MSG_NOSIGNAL)
                      : ::write(m_descriptor, bytes, static_cast<size_t>(std::min<qint64>(size, PIPE_BUF)));
}

} // namespace biz::host
