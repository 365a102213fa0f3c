#include <biz_gateway/broker/certificate_probe.h>

#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>

namespace biz::gateway {

namespace {

constexpr int limitMs = 5000;

} // namespace

CertificateProbe::CertificateProbe(const BrokerSettings &settings, QObject *parent)
    : QObject(parent)
{
    connect(&m_socket, &QSslSocket::disconnected, this, &CertificateProbe::end);
    connect(&m_socket, QOverload<const QList<QSslError> &>::of(&QSslSocket::sslErrors), this,
            &CertificateProbe::onErrors);
    connect(&m_socket, &QSslSocket::encrypted, this, &CertificateProbe::end);
    m_limit.setSingleShot(true);
    connect(&m_limit, &QTimer::timeout, this, &CertificateProbe::end);
    m_limit.start(limitMs);
    if (!settings.authorities.isEmpty()) {
        QSslConfiguration configuration = m_socket.sslConfiguration();
        configuration.setCaCertificates(QSslCertificate::fromPath(settings.authorities));
        m_socket.setSslConfiguration(configuration);
    }
    m_socket.connectToHostEncrypted(settings.host, settings.port);
}

CertificateProbe::~CertificateProbe()
{
    m_socket.disconnect(this);
}

void CertificateProbe::onErrors(const QList<QSslError> &errors)
{
    QStringList sentences;
    for (const QSslError &error : errors) {
        sentences.append(error.errorString());
    }
    m_problem = sentences.join(QStringLiteral("; "));
    end();
}

void CertificateProbe::end()
{
    if (!m_hasEnded) {
        m_hasEnded = true;
        Q_EMIT ended(m_problem);
    }
}

} // namespace biz::gateway
