#ifndef BIZ_TEST_CERTIFICATES_H
#define BIZ_TEST_CERTIFICATES_H

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QString>

namespace biz::test {

/** An authority, and a certificate of "localhost" by it, as files in a folder. */
class Certificates
{
public:
    /** With a negative number of days the certificate is out of date. */
    Certificates(const QString &folder, int days)
        : m_folder(folder)
    {
        const QString ca = path("ca.crt");
        const QString caKey = path("ca.key");
        run({"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "30",
             "-subj", "/CN=authority", "-keyout", caKey, "-out", ca});
        run({"req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-subj", "/CN=localhost",
             "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1", "-keyout", path("broker.key"), "-out",
             path("broker.csr")});
        run({"x509", "-req", "-in", path("broker.csr"), "-CA", ca, "-CAkey", caKey, "-CAcreateserial", "-days",
             QString::number(days), "-copy_extensions", "copy", "-out", path("broker.crt")});
        // The broker gives its rights up before it reads the key.
        QFile::setPermissions(path("broker.key"), QFileDevice::ReadOwner | QFileDevice::ReadOther);
        QFile::setPermissions(m_folder, QFileDevice::Permissions(0x7755));
    }

    QString authority() const { return path("ca.crt"); }
    bool areMade() const { return QFile::exists(path("broker.crt")); }

    /** What a broker that has them is told. */
    QByteArray settings() const
    {
        return "cafile " + path("ca.crt").toUtf8() + "\ncertfile " + path("broker.crt").toUtf8() + "\nkeyfile " +
               path("broker.key").toUtf8() + '\n';
    }

private:
    QString path(const QString &name) const { return m_folder + '/' + name; }
    static void run(const QStringList &arguments)
    {
        QProcess process;
        process.start("openssl", arguments);
        process.waitForFinished();
    }

    const QString m_folder;
};

} // namespace biz::test

#endif
