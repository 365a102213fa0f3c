// A wire format of the application's own, over TCP or any other link that a URL names, as in
// "custom_codec tcp://127.0.0.1:4711"; line_device plays such a device. Without a URL the link is the
// application's own as well: it leads to a device that answers in this process, without a network.

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QUrl>

#include <host/device_host.h>
#include <host/device_link.h>

#include "line_codec.h"

using namespace biz::host;

namespace {

/** A link to a device that lives in this process. */
class LoopbackLink : public DeviceLink
{
public:
    void open() override
    {
        m_isOpen = true;
        // From the event loop, as a real link would; from within the call is allowed as well.
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
        QMetaObject::invokeMethod(this, "received", Qt::QueuedConnection,
                                  Q_ARG(QByteArray, greetEachRecord(&m_device, bytes)));
        return true;
    }

private:
    LineCodec m_device;
    bool m_isOpen = false;
};

/** Gives the host the link that the arguments name. */
bool setLinkOf(DeviceHost &host, const QStringList &arguments)
{
    return arguments.size() < 2 ? host.setLink(std::make_unique<LoopbackLink>()) : host.setLink(QUrl(arguments.at(1)));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    DeviceHost host;
    QObject::connect(&host, &DeviceHost::ended, &app, [](Ticket, const CommandResult &result) {
        qInfo().noquote() << outcomeName(result.outcome) << QString::fromLatin1(result.reply.baData);
        QCoreApplication::exit(result.outcome == Outcome::Answered ? 0 : 1);
    });

    const bool isUnderWay = setLinkOf(host, QCoreApplication::arguments()) &&
                            host.setCodec(std::make_unique<LineCodec>()) && host.setModel(QStringLiteral("A2")) &&
                            host.enqueue(makeCommand(0xF1, 0x12)) != 0 && host.start();
    if (!isUnderWay) {
        qCritical().noquote() << host.errorString();
        return 1;
    }
    return QCoreApplication::exec();
}
