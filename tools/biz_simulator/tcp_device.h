#ifndef BIZ_SIMULATOR_TCP_DEVICE_H
#define BIZ_SIMULATOR_TCP_DEVICE_H

#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <biz_cmdswork/reply_rules_p.h>
#include <biz_simulator/event_log.h>
#include <biz_simulator/fault_plan.h>
#include <host/frame_codec.h>

namespace biz::simulator {

/**
 * One device of a checked model, for any number of connections at once. They share the
 * fault plan: the n-th command is the n-th that the device receives, whoever sent it.
 */
class TcpDevice : public QObject
{
    Q_OBJECT

public:
    TcpDevice(rules::Model model, const FaultPlan &plan, int delayMs, const EventLog &log, QObject *parent = nullptr);
    ~TcpDevice() override;

    /** False when the address cannot be bound; errorString() says why. Port 0: a free one. */
    bool listen(const QHostAddress &address, quint16 port);

    quint16 port() const { return m_server.serverPort(); }
    QString errorString() const { return m_server.errorString(); }
    const Counters &counters() const { return m_counters; }

private:
    /** What leaves for one command. */
    struct Delivery
    {
        model_Protocoldata reply;
        int delayMs = 0;
        int copies = 1;
        bool faultApplies = true; ///< false: the fault could do the reply no harm
    };

    void accept();
    void read(QTcpSocket *socket, host::FrameCodec &codec);
    void receive(QTcpSocket *socket, const model_Protocoldata &command);
    Delivery deliveryWith(const Fault &fault, const model_Protocoldata &command) const;
    void send(QTcpSocket *socket, const QString &who, const Delivery &delivery);
    void write(QTcpSocket *socket, const QString &who, const model_Protocoldata &reply);

    rules::Model m_model;
    FaultPlan m_plan;
    int m_delayMs;
    const EventLog &m_log;
    QTcpServer m_server;
    Counters m_counters;
};

} // namespace biz::simulator

#endif
