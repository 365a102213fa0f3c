#include <biz_gateway/gateway/outbox.h>

#include <utility>

#include <QtCore/QDebug>

namespace biz::gateway {

namespace {

/** Confirmations are written down together. Who is killed before sends them once more. */
constexpr int writingPeriodMs = 50;

} // namespace

Outbox::Outbox(Journal *journal, BrokerSession *session, QObject *parent)
    : QObject(parent)
    , m_journal(journal)
    , m_session(session)
{
    m_writing.setSingleShot(true);
    connect(&m_writing, &QTimer::timeout, this, &Outbox::flush);
    connect(session, &BrokerSession::online, this, &Outbox::onOnline);
    connect(session, &BrokerSession::offline, this, &Outbox::onOffline);
    connect(session, &BrokerSession::confirmed, this, &Outbox::onConfirmed);
}

void Outbox::sendNew()
{
    m_mayWait = true;
    flush();
}

void Outbox::answer(const ReplyPath &reply, const QByteArray &payload)
{
    constexpr BrokerSession::Token nobodyAsks = 0;
    if (!m_session->publish({reply.topic, payload, false, reply.correlation}, nobodyAsks)) {
        ++m_unanswered;
    }
}

/** A new connection knows nothing of what was on its way in the one before. */
void Outbox::onOnline()
{
    m_onTheWay.clear();
    sendNew();
}

void Outbox::onOffline()
{
    m_onTheWay.clear();
    m_mayWait = true;
}

void Outbox::onConfirmed(qint64 number, const QString &refusal)
{
    if (!refusal.isEmpty()) {
        qWarning("the broker refuses the outcome number %lld: %s", static_cast<long long>(number),
                 qUtf8Printable(refusal));
    }
    m_onTheWay.remove(number);
    m_confirmed.insert(number);
    if (!m_writing.isActive()) {
        m_writing.start(writingPeriodMs);
    }
}

void Outbox::flush()
{
    try {
        if (!m_confirmed.isEmpty()) {
            m_journal->commit([this] {
                for (const qint64 number : std::as_const(m_confirmed)) {
                    m_journal->setDelivered(number);
                }
            });
            m_confirmed.clear();
        }
        sendWaiting();
    } catch (const JournalError &error) {
        qWarning("%s", qUtf8Printable(error.text()));
        m_writing.start(journalRetryPeriodMs);
    }
}

void Outbox::sendWaiting()
{
    if (!m_mayWait || !m_session->hasRoom()) {
        return;
    }
    // What is on its way is among the first ones, too.
    const int most = 2 * BrokerSession::mostOnTheWay;
    const QVector<JournalEntry> waiting = m_journal->undelivered(most);
    m_mayWait = waiting.size() == most;
    for (const JournalEntry &entry : waiting) {
        if (!m_onTheWay.contains(entry.number)) {
            send(entry);
        }
    }
}

void Outbox::send(const JournalEntry &entry)
{
    if (m_session->publish({entry.reply.topic, entry.outcome, false, entry.reply.correlation}, entry.number)) {
        m_onTheWay.insert(entry.number);
    } else {
        m_mayWait = true;
    }
}

} // namespace biz::gateway
