// A wire format and a link of the application's own, with the host kit. The link leads to a
// device that answers in this process, so that the program shows itself without a network.

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>

#include <host/biz_devicehost.h>

#include "line_codec.h"

using namespace biz::host;

namespace {

/** A link to a device that answers F1/12 with the five bytes that an A2 has to. */
class LoopbackLink : public DeviceLink
{
public:
    void open() override
    {
        m_isOpen = true;
        // Never from within the call: the host is told from the event loop.
        QMetaObject::invokeMethod(this, "opened", Qt::QueuedConnection);
    }
    void close() override { m_isOpen = false; }
    bool isOpen() const override { return m_isOpen; }
    QString name() const override { return QStringLiteral("loopback:"); }

    bool write(const QByteArray &bytes) override
    {
        if (!m_isOpen) {
            return false;
        }
        for (model_Protocoldata &record : m_device.decode(bytes).records) {
            record.ucHead[4] = 5;
            record.ucHead[5] = 0;
            record.baData = "hello";
            const QByteArray answer = m_device.encode(record);
            QMetaObject::invokeMethod(this, "received", Qt::QueuedConnection, Q_ARG(QByteArray, answer));
        }
        return true;
    }

private:
    LineCodec m_device;
    bool m_isOpen = false;
};

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    biz_DeviceHost host;
    host.setDeviceType(0x1400);
    host.setLink(std::make_unique<LoopbackLink>());
    host.setCodec(std::make_unique<LineCodec>());
    QObject::connect(&host, &biz_DeviceHost::ended, &app, [](Ticket, const CommandResult &result) {
        qInfo().noquote() << outcomeName(result.outcome) << QString::fromLatin1(result.reply.baData);
        QCoreApplication::exit(result.outcome == Outcome::Answered ? 0 : 1);
    });

    model_Protocoldata command;
    command.ucHead[1] = 0xF1;
    command.ucHead[2] = 0x12;
    host.enqueue(command);
    return host.start() ? QCoreApplication::exec() : 2;
}
