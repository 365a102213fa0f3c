#ifndef BIZ_CONSOLE_REPLAY_DEVICES_H
#define BIZ_CONSOLE_REPLAY_DEVICES_H

#include <map>
#include <memory>

#include <QtNetwork/QHostAddress>
#include <QtNetwork/QUdpSocket>

#include <biz_console/replay/replay_script.h>

namespace biz::console {

/**
 * The OSD devices of a recording, on addresses of the loopback network: those that they had where
 * these were of it, else others. They answer as they did.
 */
class ReplayDevices : public QObject
{
    Q_OBJECT

public:
    explicit ReplayDevices(const Recording &recording);

    /** Takes a port that is free on all addresses. Throws InputError when there is none. */
    void listen();

    quint16 port() const { return m_port; }

    /** The address that a recorded one has here. */
    QString addressOf(const QString &recordedAddress) const { return m_devices.at(recordedAddress)->address; }

    void start();

    /** A command of the device at this address has ended. */
    void noteEnd(const QString &address);

Q_SIGNALS:
    /** Here somebody broke the run off. */
    void interrupted();

private:
    struct Device
    {
        QString address;
        std::unique_ptr<QUdpSocket> socket;
        std::unique_ptr<ReplayScript> script;
    };

    void add(const QString &recordedAddress);
    bool bindAll(quint16 port);
    void read(Device &device);
    void play(Device &device, const RecordedStep &step);

    std::map<QString, std::unique_ptr<Device>> m_devices; ///< by recorded address; "": who watched the run
    quint16 m_port = 0;
    QHostAddress m_hostAddress;
    quint16 m_hostPort = 0;
};

} // namespace biz::console

#endif
