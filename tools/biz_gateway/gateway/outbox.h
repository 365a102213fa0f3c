#ifndef BIZ_GATEWAY_OUTBOX_H
#define BIZ_GATEWAY_OUTBOX_H

#include <QtCore/QObject>
#include <QtCore/QSet>
#include <QtCore/QTimer>

#include <biz_gateway/broker/broker_session.h>
#include <biz_gateway/journal/journal.h>

namespace biz::gateway {

/**
 * Brings outcomes to the broker. What is on its way is known here, and everything else that the broker does not have
 * is in the journal alone, so that memory does not grow while there is no broker.
 */
class Outbox : public QObject
{
    Q_OBJECT

public:
    Outbox(Journal *journal, BrokerSession *session, QObject *parent = nullptr);

    /** Sends what has come to the journal as ended, as far as there is room on the way. */
    void sendNew();

    /** Sends what nobody keeps: who does not get it asks again. */
    void answer(const ReplyPath &reply, const QByteArray &payload);

    /** Whether nothing is on its way, and nothing waits for the broker. */
    bool isEmpty() const { return m_onTheWay.isEmpty() && !m_mayWait; }

    /** Answers that found no room. */
    qint64 unanswered() const { return m_unanswered; }

    /** Writes down what the broker has confirmed, as is done at times anyway. */
    void flush();

private:
    void onOnline();
    void onOffline();
    void onConfirmed(qint64 number, const QString &refusal);
    void sendWaiting();
    void send(const JournalEntry &entry);

    Journal *const m_journal;
    BrokerSession *const m_session;
    QSet<qint64> m_onTheWay;
    QSet<qint64> m_confirmed; ///< and not written down yet
    QTimer m_writing;
    bool m_mayWait = true; ///< outcomes may be in the journal that are not on their way
    qint64 m_unanswered = 0;
};

} // namespace biz::gateway

#endif
