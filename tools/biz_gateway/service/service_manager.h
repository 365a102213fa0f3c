#ifndef BIZ_GATEWAY_SERVICE_MANAGER_H
#define BIZ_GATEWAY_SERVICE_MANAGER_H

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>

namespace biz::gateway {

/**
 * Tells the service manager how the gateway stands, in the protocol of sd_notify: a datagram to the socket that
 * the environment names. Where there is none, nothing is told.
 */
class ServiceManager : public QObject
{
public:
    explicit ServiceManager(QObject *parent = nullptr);

    /** It serves. From here on the watchdog hears of it, as long as the event loop turns. */
    void tellReady();
    void tellReloading();
    void tellStopping();

    /** A sentence for `systemctl status`. */
    void tellStatus(const QString &text);

private:
    void send(const QByteArray &lines) const;

    QByteArray m_socket;
    QTimer m_watchdog;
};

} // namespace biz::gateway

#endif
