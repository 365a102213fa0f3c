#include <serve/session_p.h>

#include <csignal>

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>

namespace biz::host {

namespace {

constexpr int ended = 0;
constexpr int cannotStart = 1;
constexpr int linesMissing = 2;

/** A client that goes away is an error of a write, and no reason to die. */
class NoBrokenPipeSignal
{
public:
    NoBrokenPipeSignal()
    {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &ignore, &m_before);
    }
    ~NoBrokenPipeSignal() { sigaction(SIGPIPE, &m_before, nullptr); }
    NoBrokenPipeSignal(const NoBrokenPipeSignal &) = delete;
    NoBrokenPipeSignal &operator=(const NoBrokenPipeSignal &) = delete;

private:
    struct sigaction m_before = {};
};

/**
 * What a client that does not read may miss: all but the way of a command from its taking to its end, of which there is
 * so much at most as commands may be pending. Of replies beside it a device can send any number.
 */
bool mayBeLost(EventKind kind)
{
    const bool isOfItsWay =
        kind == EventKind::Given || kind == EventKind::Writing || kind == EventKind::Sent || kind == EventKind::Resent;
    return !isOfItsWay && !outcomeOf(kind);
}

} // namespace

Session::Session(ServedHost &host, EventSource &events, int input, int output)
    : m_host(host)
    , m_events(events)
    , m_input(input)
    , m_output(output)
{
    connect(&m_input, &LineInput::line, this, [this](const InputLine &line) { onLine(line); });
    connect(&m_input, &LineInput::ended, this, [this] { m_loop.quit(); });
    connect(&m_output, &LineOutput::gone, this, [this] { m_loop.quit(); });
    connect(&m_output, &LineOutput::left, this, [this] { m_input.setPaused(false); });
    connect(
        &events, &EventSource::happened, this, [this](const Event &event) { onEvent(event); }, Qt::DirectConnection);
}

Session::~Session()
{
    m_host.setMayWrite(nullptr);
}

int Session::run()
{
    const NoBrokenPipeSignal noSignal;
    // A command that is in the output when the process dies may have been written; one that is not has not been.
    m_host.setMayWrite([this] { return m_output.hasLeft() && m_output.hasRoom(); });
    m_output.write(m_events.headLines());
    if (!m_host.start()) {
        Event problem;
        problem.kind = EventKind::Problem;
        problem.reason = m_host.errorString();
        write(problem);
        beginEnd();
        waitUntil([this] { return m_output.hasLeft(); });
        return cannotStart;
    }
    if (!m_output.isGone()) {
        m_loop.exec();
    }
    return stop() ? ended : linesMissing;
}

// --- What the client asks for -----------------------------------------------------------------

void Session::onLine(const InputLine &line)
{
    if (line.isTooLong) {
        refuse({}, line.number, QStringLiteral("a line of at most %1 bytes expected").arg(LineSplitter::longestLine));
        return;
    }
    const ReadRequest read = readRequest(line.text, m_host.channel());
    if (read.problem.isEmpty()) {
        perform(read.request, line.number);
    } else {
        refuse(read.id, line.number, read.problem);
    }
}

void Session::perform(const Request &request, qint64 line)
{
    switch (request.what) {
    case Request::Do::Command:
        enqueue(request, line);
        break;
    case Request::Do::Cancel:
        cancel(request.id, line);
        break;
    case Request::Do::Clear:
        m_host.clear();
        break;
    case Request::Do::Counters:
        tellState(EventKind::State);
        break;
    case Request::Do::Stop:
        m_isAskedToEnd = true;
        m_input.stop();
        m_loop.quit();
        break;
    }
}

void Session::enqueue(const Request &request, qint64 line)
{
    if (m_ids.isUsed(request.id)) {
        refuse(request.id, line, QStringLiteral("id: one that no other command has had expected"));
        return;
    }
    const qint64 payload = m_host.payloadOf(request);
    if (!m_ids.hasRoomFor(payload)) {
        refuse(request.id, line,
               QStringLiteral("at most %1 commands with %2 bytes of payload together may be pending")
                   .arg(RequestIds::mostPending)
                   .arg(RequestIds::mostPendingBytes));
        return;
    }
    CommandOptions options = request.options;
    options.id = request.id;
    const Ticket ticket = m_host.enqueue(request, options);
    if (ticket == 0) {
        refuse(request.id, line, m_host.errorString());
        return;
    }
    m_ids.add(request.id, ticket, payload);
}

/** One that has ended meanwhile was no mistake of the client's. */
void Session::cancel(const QString &id, qint64 line)
{
    if (!m_ids.isUsed(id)) {
        refuse(id, line, QStringLiteral("id: that of a command expected"));
        return;
    }
    m_host.cancel(m_ids.ticketOf(id));
}

void Session::refuse(const QString &id, qint64 line, const QString &problem)
{
    Event event;
    event.kind = EventKind::Error;
    event.id = id;
    event.reason = problem;
    write(event, {{QStringLiteral("line"), line}});
}

// --- What the client is told ------------------------------------------------------------------

void Session::onEvent(const Event &event)
{
    if (m_output.isOverfull() && mayBeLost(event.kind)) {
        ++m_linesLost;
        return;
    }
    if (!m_output.isFull()) {
        tellLost();
    }
    m_output.write(jsonLine(event));
    m_input.setPaused(m_output.isFull());
    if (outcomeOf(event.kind)) {
        m_ids.noteEnd(event.ticket);
    }
}

void Session::tellLost()
{
    if (m_linesLost > 0) {
        Event lost;
        lost.kind = EventKind::Lost;
        lost.lines = std::exchange(m_linesLost, 0);
        write(lost);
    }
}

/** An event of the session's own. */
void Session::write(const Event &event, const QJsonObject &more)
{
    m_output.write(jsonLine(m_events.timed(event), more));
    m_input.setPaused(m_output.isFull());
}

void Session::tellState(EventKind kind)
{
    Event event;
    event.kind = kind;
    write(event, m_events.state());
}

// --- The end ----------------------------------------------------------------------------------

/** False: lines are missing that the client did not read, or that could not be written. */
bool Session::stop()
{
    beginEnd();
    m_input.stop();
    m_host.stop(static_cast<int>(timing::servedHostStopLimit.count()));
    waitUntil([this] { return !m_ids.hasPending(); });
    tellLost();
    tellState(EventKind::Summary);
    waitUntil([this] { return m_output.hasLeft(); });
    return m_output.isGone() ? !m_output.hasFailed() : m_output.hasLeft() && !m_ids.hasPending();
}

void Session::beginEnd()
{
    m_deadline = Clock::now() + timing::servingEndLimit;
    m_leftAtDeadline = m_output.bytesLeft();
}

/** Who has asked for the end is there, and gets all of it as long as it reads. */
void Session::renewDeadline()
{
    if (m_isAskedToEnd && m_output.bytesLeft() != m_leftAtDeadline) {
        beginEnd();
    }
}

/** Also after QCoreApplication::exit(), which lets no event loop run any more. */
template<typename Condition>
void Session::waitUntil(Condition isDone)
{
    // Not once at the deadline: a timer may be early.
    QTimer wakeUp;
    wakeUp.start(timing::servingEndLookPeriod);
    while (!isDone() && !m_output.isGone() && Clock::now() < m_deadline) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        renewDeadline();
    }
}

} // namespace biz::host
