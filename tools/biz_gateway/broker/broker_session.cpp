#include <biz_gateway/broker/broker_session.h>

#include <algorithm>

namespace biz::gateway {

namespace {

constexpr int shortestPauseMs = 250;
constexpr int longestPauseMs = 30'000;

/** For the broker to end a connection to which the gateway has said good-bye. */
constexpr int closingLimitMs = 1000;

} // namespace

BrokerSession::BrokerSession(const BrokerSettings &settings, const Introduction &introduction, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_introduction(introduction)
    , m_pauseMs(shortestPauseMs)
    , m_problem(QStringLiteral("not connected yet"))
{
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, [this] { open(); });
    m_closing.setSingleShot(true);
    connect(&m_closing, &QTimer::timeout, this, [this] { onEnded({}); });
}

BrokerSession::~BrokerSession() = default;

void BrokerSession::start()
{
    open();
}

void BrokerSession::open()
{
    Introduction introduction = m_introduction;
    // What was kept before the first connection is of earlier times; later it may be a rival's.
    introduction.readsWill = m_hasBeenOnline;
    m_connection = std::make_unique<MqttConnection>(m_settings, introduction);
    MqttConnection *const connection = m_connection.get();
    connect(connection, &MqttConnection::opened, this, [this] { onOpened(); });
    connect(connection, &MqttConnection::received, this, &BrokerSession::received);
    connect(connection, &MqttConnection::published, this, &BrokerSession::onPublished);
    connect(connection, &MqttConnection::ended, this, &BrokerSession::onEnded);
}

void BrokerSession::onOpened()
{
    m_pauseMs = shortestPauseMs;
    m_isOnline = true;
    m_hasBeenOnline = true;
    m_problem.clear();
    Q_EMIT online();
}

/**
 * The connection is closed when the broker has confirmed the last word. Whatever it sent before has come by then: bytes
 * that nobody reads would make the system reset the connection, and the good-bye would be lost with it.
 */
void BrokerSession::close(const Publication &lastWord)
{
    m_isClosing = true;
    m_retry.stop();
    m_closing.start(m_isOnline ? closingLimitMs : 0);
    if (m_isOnline) {
        m_connection->unsubscribe();
        m_lastWord = m_connection->publish(lastWord, MqttConnection::Care::AtLeastOnce);
    }
}

bool BrokerSession::publish(const Publication &publication, Token token)
{
    if (!hasRoom()) {
        return false;
    }
    const int number = m_connection->publish(publication, MqttConnection::Care::AtLeastOnce);
    if (number != 0) {
        m_unconfirmed.insert(number, token);
    }
    return number != 0;
}

void BrokerSession::tell(const Publication &publication)
{
    const bool hasRoomToTell = m_isOnline && m_told.size() < mostOnTheWay;
    const int number = hasRoomToTell ? m_connection->publish(publication, MqttConnection::Care::AtMostOnce) : 0;
    if (number != 0) {
        m_told.insert(number);
    } else {
        ++m_lost;
    }
}

void BrokerSession::onPublished(int number, const QString &refusal)
{
    if (m_isClosing && number == m_lastWord) {
        m_connection->close();
    } else if (!m_told.remove(number)) {
        const Token token = m_unconfirmed.take(number);
        if (token != 0) {
            Q_EMIT confirmed(token, refusal);
        }
    }
}

/** The connection is deleted later, since it may be the one that tells; what it has yet to tell concerns nobody. */
void BrokerSession::onEnded(const ConnectionEnd &end)
{
    if (m_connection) {
        m_connection->disconnect(this);
        m_connection.release()->deleteLater();
    }
    m_unconfirmed.clear();
    m_told.clear();
    m_closing.stop();
    m_isOnline = false;
    if (m_isClosing) {
        Q_EMIT closed();
        return;
    }
    if (end.isTakenOver) {
        Q_EMIT takenOver();
        return;
    }
    m_retry.start(m_pauseMs);
    m_pauseMs = std::min(2 * m_pauseMs, longestPauseMs);
    if (!end.isCertificateRefused) {
        tellProblem(end.reason);
        return;
    }
    m_probe = std::make_unique<CertificateProbe>(m_settings);
    connect(m_probe.get(), &CertificateProbe::ended, this, [this, reason = end.reason](const QString &problem) {
        m_probe.release()->deleteLater();
        tellProblem(problem.isEmpty() ? reason
                                      : QStringLiteral("the broker's certificate is not accepted: ") + problem);
    });
}

/** The same problem is told once, however often it is met. */
void BrokerSession::tellProblem(const QString &problem)
{
    if (m_problem != problem && !m_isOnline) {
        m_problem = problem;
        Q_EMIT offline(problem);
    }
}

} // namespace biz::gateway
