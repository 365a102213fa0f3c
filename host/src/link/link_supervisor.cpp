#include <link/link_supervisor_p.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>

#include <QtCore/QRandomGenerator>
#include <QtCore/QScopedValueRollback>

#include <logging_p.h>

namespace biz::host {

namespace {

using std::chrono::milliseconds;

/**
 * No longer than a timer can run. Drawn from the clock, whose nanoseconds no two processes share: where a test's clock
 * stands in for it, the same run comes again.
 */
milliseconds withJitter(milliseconds interval)
{
    constexpr milliseconds longest{std::numeric_limits<int>::max()};
    QRandomGenerator random(static_cast<quint32>(Clock::now().time_since_epoch().count()));
    const double share = timing::reconnectJitterPercent / 100.0 * (2 * random.generateDouble() - 1);
    return std::min(milliseconds(std::lround(static_cast<double>(interval.count()) * (1 + share))), longest);
}

/** Calls a link that may be an application's; returns the text of what it throws, and nothing of what it does not. */
QString exceptionOf(const std::function<void()> &call)
{
    try {
        call();
        return {};
    } catch (const std::exception &thrown) {
        return QString::fromLocal8Bit(thrown.what());
    } catch (...) {
        return QStringLiteral("an exception without a text");
    }
}

/** A link that throws is not to end the host: what it throws is logged. */
template<typename Call>
void callGuarded(const Call &call)
{
    const QString thrown = exceptionOf(call);
    if (!thrown.isEmpty()) {
        qCWarning(hostLog).noquote() << "the link has thrown:" << thrown;
    }
}

} // namespace

LinkSupervisor::LinkSupervisor(QObject *parent)
    : QObject(parent)
{
    m_reconnecting.setSingleShot(true);
    m_watching.setInterval(timing::silenceCheckPeriod);
    m_losing.setSingleShot(true);
    m_losing.setTimerType(Qt::PreciseTimer); // a coarse one may be early, and a silence is never told early
    connect(&m_reconnecting, &QTimer::timeout, this, &LinkSupervisor::attempt);
    connect(&m_watching, &QTimer::timeout, this, &LinkSupervisor::lookAtHeld);
    connect(&m_discarding, &QTimer::timeout, this, &LinkSupervisor::lookAtDiscarded);
    connect(&m_losing, &QTimer::timeout, this, &LinkSupervisor::loseWhileConnecting);
}

LinkSupervisor::~LinkSupervisor()
{
    blockSignals(true);
    stop();
}

void LinkSupervisor::setLink(std::unique_ptr<DeviceLink> link)
{
    stop();
    if (m_link) {
        m_link.release()->deleteLater();
    }
    m_link = std::move(link);
    if (m_link) {
        m_link->setParent(this); // it follows the host to another thread
    }
}

DeviceLink *LinkSupervisor::link() const
{
    return m_link.get();
}

void LinkSupervisor::start()
{
    if (!m_link || m_status.state != LinkState::Closed) {
        return;
    }
    m_status.attempts = 0;
    if (enter(LinkState::Connecting)) {
        attempt();
    }
}

void LinkSupervisor::stop()
{
    if (m_status.state == LinkState::Closed) {
        return;
    }
    if (discardAndClose()) {
        m_status.attempts = 0;
        enter(LinkState::Closed);
    }
}

const LinkStatus &LinkSupervisor::status() const
{
    return m_status;
}

bool LinkSupervisor::isUp() const
{
    return m_status.state == LinkState::Up;
}

void LinkSupervisor::setReconnectInterval(milliseconds interval)
{
    m_reconnectInterval = interval;
    m_reconnecting.stop();
    if (m_status.state == LinkState::Lost && !m_isOpening) {
        attemptLater(m_attemptedAt);
    }
}

void LinkSupervisor::setSilenceLimit(milliseconds limit)
{
    m_ownSilenceLimit = limit;
}

void LinkSupervisor::setWaitInFlight(milliseconds wait)
{
    m_waitInFlight = wait;
}

bool LinkSupervisor::write(const QByteArray &frame)
{
    if (!isUp()) {
        m_writeProblem = QStringLiteral("the link is not up");
        return false;
    }
    // The link may tell of its end within the call, and whoever hears of it may give another one.
    DeviceLink *const link = m_link.get();
    const quint64 changes = m_changes;
    bool isTaken = false;
    const QString thrown = exceptionOf([&] { isTaken = link->write(frame); });
    if (changes != m_changes) {
        m_writeProblem = QStringLiteral("%1 was lost while it took the frame").arg(link->name());
        return false;
    }
    if (!isTaken) {
        m_writeProblem = QStringLiteral("%1 did not take the frame").arg(link->name());
        if (!thrown.isEmpty()) {
            m_writeProblem += QStringLiteral(": ") + thrown;
        }
        return false;
    }
    m_writeProblem.clear();
    noteWritten(frame.size());
    return true;
}

bool LinkSupervisor::endWriting()
{
    if (!isUp()) {
        return false;
    }
    // First: the link may tell of its end within the call, and that is no loss then.
    m_isEnding = true;
    bool hasEnded = false;
    callGuarded([this, &hasEnded] { hasEnded = m_link->endWriting(); });
    m_isEnding = m_isEnding && hasEnded;
    return hasEnded;
}

QString LinkSupervisor::writeProblem() const
{
    return m_writeProblem;
}

bool LinkSupervisor::mayWrite() const
{
    bool hasRoom = false;
    if (isUp() && !m_discarding.isActive()) {
        callGuarded([&] { hasRoom = m_link->canWrite(); });
    }
    return hasRoom;
}

qint64 LinkSupervisor::bytesHeld() const
{
    qint64 held = 0;
    callGuarded([&] { held = m_link->bytesHeld(); });
    return held;
}

void LinkSupervisor::discardHeld()
{
    if (!isUp() || m_discarding.isActive()) {
        return;
    }
    const qint64 held = bytesHeld();
    if (held == 0) {
        return;
    }
    m_discardAskedAt = Clock::now();
    noteLeft(held);
    // At once where it is due, before anybody is told of the command's end.
    if (!isDiscardDue() || throwAway(held)) {
        m_discarding.start(0);
    }
}

void LinkSupervisor::listen(bool isOn)
{
    DeviceLink *const link = m_link.get();
    disconnect(link, nullptr, this, nullptr);
    if (isOn) {
        connect(link, &DeviceLink::opened, this, &LinkSupervisor::onOpened);
        connect(link, &DeviceLink::closed, this, &LinkSupervisor::onClosed);
        connect(link, &DeviceLink::received, this, &LinkSupervisor::onReceived);
        connect(link, &DeviceLink::writable, this, &LinkSupervisor::onWritable);
    }
}

void LinkSupervisor::attempt()
{
    DeviceLink *const link = m_link.get();
    const quint64 changes = m_changes;
    m_reconnecting.stop();
    m_isOpening = true;
    m_attemptedAt = Clock::now();
    ++m_status.attempts;
    listen(true);
    const QString thrown = exceptionOf([&] { link->open(); });
    if (!thrown.isEmpty() && changes == m_changes) {
        onClosed(QStringLiteral("cannot open %1: %2").arg(link->name(), thrown));
    }
}

/** The next attempt follows the interval after `from`, or now when that has passed. */
void LinkSupervisor::attemptLater(TimePoint from)
{
    if (m_reconnectInterval == milliseconds::zero()) {
        return;
    }
    const auto passed = std::chrono::duration_cast<milliseconds>(Clock::now() - from);
    m_reconnecting.start(std::max(milliseconds::zero(), withJitter(m_reconnectInterval) - passed));
}

void LinkSupervisor::onOpened()
{
    if (!m_isOpening) {
        return;
    }
    stopTimers();
    m_isEnding = false;
    m_written = 0;
    m_left = 0;
    enter(LinkState::Up);
}

void LinkSupervisor::onClosed(const QString &reason)
{
    switch (m_status.state) {
    case LinkState::Closed:
        return;
    case LinkState::Connecting:
        m_isOpening = false;
        m_losing.stop();
        attemptLater(m_attemptedAt);
        enter(LinkState::Lost, Error::LinkCannotOpen, reason);
        return;
    case LinkState::Up:
        stopTimers();
        m_status.attempts = 0;
        if (m_isEnding) {
            listen(false);
            enter(LinkState::Closed);
            return;
        }
        attemptLater(Clock::now());
        enter(LinkState::Lost, Error::LinkClosed, reason);
        return;
    case LinkState::Lost:
        if (m_isOpening) {
            m_isOpening = false;
            attemptLater(m_attemptedAt);
        }
        return;
    }
}

void LinkSupervisor::onReceived(const QByteArray &bytes)
{
    if (isUp()) {
        Q_EMIT received(bytes);
    }
}

void LinkSupervisor::onWritable()
{
    if (mayWrite()) {
        Q_EMIT writable();
    }
}

/** Tells of the new state; false when a slot has left it already. */
bool LinkSupervisor::enter(LinkState state, Error error, const QString &reason)
{
    const LinkStatus before = m_status;
    m_status.state = state;
    m_status.since = QDateTime::currentDateTimeUtc();
    m_status.error = error;
    m_status.reason = reason;
    logChange(before);

    const LinkStatus now = m_status; // slots may change what the signals carry
    const quint64 changes = ++m_changes;
    Q_EMIT stateChanged(now);
    if (changes == m_changes && state == LinkState::Up) {
        Q_EMIT up();
    }
    if (changes == m_changes && state == LinkState::Lost) {
        Q_EMIT lost(now);
    }
    return changes == m_changes;
}

void LinkSupervisor::logChange(const LinkStatus &before) const
{
    if (m_status.state == LinkState::Lost) {
        qCWarning(hostLog).noquote() << "link lost:" << m_status.reason;
    } else if (before.state == LinkState::Lost && m_status.state == LinkState::Up) {
        qCInfo(hostLog).noquote() << "link back:" << m_link->name() << "after" << before.since.msecsTo(m_status.since)
                                  << "ms, attempts:" << m_status.attempts;
    }
}

void LinkSupervisor::stopTimers()
{
    m_isOpening = false;
    m_reconnecting.stop();
    m_watching.stop();
    m_discarding.stop();
    m_losing.stop();
    m_thrownAway = 0;
}

void LinkSupervisor::noteWritten(qint64 size)
{
    if (!m_watching.isActive()) {
        m_left = m_written; // all before has left
        m_lastLeftAt = Clock::now();
        m_watching.start();
    }
    m_written += size;
}

void LinkSupervisor::lookAtHeld()
{
    const qint64 held = bytesHeld();
    if (held == 0) {
        m_watching.stop();
        return;
    }
    noteLeft(held);
    if (isSilent()) {
        loseSilent();
    }
}

/** What is held may stay as much, or grow, while bytes come and go: what counts is how many have left. */
void LinkSupervisor::noteLeft(qint64 held)
{
    if (m_written - held > m_left) {
        m_left = m_written - held;
        m_lastLeftAt = Clock::now();
    }
}

void LinkSupervisor::lookAtDiscarded()
{
    if (m_thrownAway > 0) {
        connectAnew();
        return;
    }
    const qint64 held = bytesHeld();
    noteLeft(held);
    if (held == 0) {
        m_discarding.stop();
        onWritable();
    } else if (isSilent()) {
        loseSilent();
    } else if (!isDiscardDue()) {
        m_discarding.start(timing::discardCheckPeriod);
    } else if (throwAway(held)) {
        connectAnew();
    }
}

/** At once, when nothing has left for so long that a healthy peer would have acknowledged it: the line may return. */
bool LinkSupervisor::isDiscardDue() const
{
    const TimePoint now = Clock::now();
    const bool isStuck = m_watching.isActive() && now - m_lastLeftAt >= timing::discardDelay;
    return isStuck || now - m_discardAskedAt >= timing::discardDelay;
}

bool LinkSupervisor::isSilent() const
{
    return m_watching.isActive() && Clock::now() - m_lastLeftAt >= silenceLimit();
}

milliseconds LinkSupervisor::silenceLimit() const
{
    if (m_ownSilenceLimit > milliseconds::zero()) {
        return m_ownSilenceLimit;
    }
    return std::max(timing::shortestSilenceLimit, timing::waitsUntilSilent * m_waitInFlight);
}

QString LinkSupervisor::silence(qint64 held) const
{
    const auto duration = std::chrono::duration_cast<milliseconds>(Clock::now() - m_lastLeftAt);
    return QStringLiteral("%1 is silent: it has taken none of %2 bytes for %3 ms")
        .arg(m_link->name())
        .arg(held)
        .arg(duration.count());
}

void LinkSupervisor::loseSilent()
{
    const QString reason = silence(bytesHeld());
    if (!discardAndClose()) {
        return;
    }
    m_status.attempts = 0;
    attemptLater(Clock::now());
    enter(LinkState::Lost, Error::LinkSilent, reason);
}

/** Tells nobody: connectAnew() follows, unless this returns false: a slot of the link's has led to another state. */
bool LinkSupervisor::throwAway(qint64 held)
{
    const quint64 changes = m_changes;
    m_thrownAway = held;
    m_watching.stop();
    listen(false);
    callGuarded([this] { m_link->discard(); });
    return changes == m_changes;
}

/**
 * Whoever hears of it from the link itself may stop, start or replace the link: the caller goes on only when this
 * returns true.
 */
bool LinkSupervisor::discardAndClose()
{
    if (m_isClosing) {
        return true;
    }
    const QScopedValueRollback<bool> closing(m_isClosing, true);
    const quint64 changes = m_changes;
    stopTimers();
    listen(false);
    if (bytesHeld() > 0) {
        callGuarded([this] { m_link->discard(); });
    }
    if (changes == m_changes) {
        callGuarded([this] { m_link->close(); });
    }
    return changes == m_changes;
}

/** The connection begins anew, also on a link that stays open: the other side has half a frame. No loss: commands wait.
 */
void LinkSupervisor::connectAnew()
{
    const QString reason = QStringLiteral("%1: %2 undelivered bytes of commands that had ended were thrown away")
                               .arg(m_link->name())
                               .arg(m_thrownAway);
    qCInfo(hostLog).noquote() << reason;
    m_silentBytes = m_thrownAway;
    stopTimers();
    const bool isStillOpen = m_link->isOpen();
    m_status.attempts = 0;
    if (!enter(LinkState::Connecting, Error::None, reason)) {
        return;
    }
    if (isStillOpen) {
        listen(true);
        m_isOpening = true;
        onOpened();
        return;
    }
    const auto silentFor = std::chrono::duration_cast<milliseconds>(Clock::now() - m_lastLeftAt);
    m_losing.start(std::max(milliseconds::zero(), silenceLimit() - silentFor));
    attempt();
}

/** The attempt to connect anew may go on for longer than a silence may stay untold; it goes on. */
void LinkSupervisor::loseWhileConnecting()
{
    if (m_status.state == LinkState::Connecting) {
        enter(LinkState::Lost, Error::LinkSilent, silence(m_silentBytes));
    }
}

} // namespace biz::host
