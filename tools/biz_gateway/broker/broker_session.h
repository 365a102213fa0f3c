#ifndef BIZ_GATEWAY_BROKER_SESSION_H
#define BIZ_GATEWAY_BROKER_SESSION_H

#include <memory>

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QSet>
#include <QtCore/QTimer>

#include <biz_gateway/broker/certificate_probe.h>
#include <biz_gateway/broker/mqtt_connection.h>

namespace biz::gateway {

/** Keeps a gateway connected to its broker, with growing pauses between the attempts. */
class BrokerSession : public QObject
{
    Q_OBJECT

public:
    /** Who publishes something that the broker has to confirm gives it a number; 0 means that nobody asks. */
    using Token = qint64;

    /** Publications that may be on their way at once; of what need not arrive as many again. */
    static constexpr int mostOnTheWay = 500;

    BrokerSession(const BrokerSettings &settings, const Introduction &introduction, QObject *parent = nullptr);
    ~BrokerSession() override;

    void start();

    /** Publishes a last word and says good-bye; closed() follows, within a second. */
    void close(const Publication &lastWord);

    bool isOnline() const { return m_isOnline; }

    /** Why not, when it is not online. */
    QString problem() const { return m_problem; }

    bool hasRoom() const { return m_isOnline && m_unconfirmed.size() < mostOnTheWay; }

    /** False when it does not leave, since there is no connection or too much on its way: nothing follows then. */
    bool publish(const Publication &publication, Token token);

    /** Publishes what may get lost; it does where there is no connection or too much on its way. */
    void tell(const Publication &publication);

    /** What tell() has lost. */
    qint64 lost() const { return m_lost; }

Q_SIGNALS:
    void online();
    void offline(const QString &reason);
    void received(const QVector<biz::gateway::Message> &messages);

    /** The broker has it, or refuses it for good. Not told of what was on its way when the connection ended. */
    void confirmed(qint64 token, const QString &refusal);

    /** There is no point in another attempt: another client has the client id. */
    void takenOver();
    void closed();

private:
    void open();
    void onOpened();
    void onPublished(int number, const QString &refusal);
    void onEnded(const ConnectionEnd &end);
    void tellProblem(const QString &problem);

    const BrokerSettings m_settings;
    const Introduction m_introduction;
    std::unique_ptr<MqttConnection> m_connection;
    std::unique_ptr<CertificateProbe> m_probe; ///< while the broker's certificate is looked into
    QTimer m_retry;
    QTimer m_closing;
    int m_pauseMs;
    bool m_isOnline = false;
    bool m_hasBeenOnline = false;
    bool m_isClosing = false;
    int m_lastWord = 0; ///< the number of the last publication
    QString m_problem;
    QHash<int, Token> m_unconfirmed; ///< by the connection's number
    QSet<int> m_told;                ///< what has only to leave
    qint64 m_lost = 0;
};

} // namespace biz::gateway

#endif
