#include <lines/line_input_p.h>

#include <cerrno>

#include <poll.h>
#include <unistd.h>

#include <timing_p.h>

namespace biz::host {

namespace {

/** Small, since what has been read is handled also when the output gets full meanwhile. */
constexpr int readAtOnce = 16 * 1024;

} // namespace

LineInput::LineInput(int descriptor, QObject *parent)
    : QObject(parent)
    , m_descriptor(descriptor)
    , m_notifier(descriptor, QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] { read(); });
    m_looking.setInterval(timing::pausedInputLookPeriod);
    connect(&m_looking, &QTimer::timeout, this, [this] { lookForEnd(); });
}

LineInput::~LineInput() = default;

void LineInput::setPaused(bool isPaused)
{
    if (m_isStopped || isPaused != m_notifier.isEnabled()) {
        return;
    }
    m_notifier.setEnabled(!isPaused);
    if (isPaused) {
        m_looking.start();
    } else {
        m_looking.stop();
    }
}

void LineInput::stop()
{
    m_isStopped = true;
    m_notifier.setEnabled(false);
    m_looking.stop();
}

void LineInput::read()
{
    QByteArray bytes(readAtOnce, Qt::Uninitialized);
    const auto size = ::read(m_descriptor, bytes.data(), static_cast<size_t>(bytes.size()));
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    const auto tell = [this](const InputLine &read) {
        if (!m_isStopped) {
            Q_EMIT line(read);
        }
    };
    if (size > 0) {
        bytes.truncate(static_cast<int>(size));
        m_splitter.add(bytes, tell);
    } else {
        m_splitter.finish(tell);
        end();
    }
}

/** A reader that is paused does not come to the end by itself. */
void LineInput::lookForEnd()
{
    constexpr int atOnce = 0;
    pollfd input = {m_descriptor, 0, 0};
    if (poll(&input, 1, atOnce) > 0) {
        end();
    }
}

void LineInput::end()
{
    if (!m_isStopped) {
        stop();
        Q_EMIT ended();
    }
}

} // namespace biz::host
