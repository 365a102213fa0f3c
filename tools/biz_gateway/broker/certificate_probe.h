#ifndef BIZ_GATEWAY_CERTIFICATE_PROBE_H
#define BIZ_GATEWAY_CERTIFICATE_PROBE_H

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtNetwork/QSslSocket>

#include <biz_gateway/config/gateway_config.h>

namespace biz::gateway {

/**
 * Finds out what is wrong with a broker's certificate: the broker's library says only that something is. It connects
 * once more, and ends the connection as soon as it has seen the certificate.
 */
class CertificateProbe : public QObject
{
    Q_OBJECT

public:
    explicit CertificateProbe(const BrokerSettings &settings, QObject *parent = nullptr);
    ~CertificateProbe() override;

Q_SIGNALS:
    /** Once, within seconds; `problem` is empty when nothing was found. */
    void ended(const QString &problem);

private:
    void onErrors(const QList<QSslError> &errors);
    void end();

    QSslSocket m_socket;
    QTimer m_limit;
    QString m_problem;
    bool m_hasEnded = false;
};

} // namespace biz::gateway

#endif
