#ifndef BIZ_CONSOLE_REPLAY_TRANSPORT_H
#define BIZ_CONSOLE_REPLAY_TRANSPORT_H

#include <map>
#include <memory>

#include <biz_console/replay/replay_script.h>
#include <host/datagram_transport.h>

namespace biz::console {

/**
 * The OSD devices of a recording in place of the network: they answer as they did.
 *
 * A command is not sent before everything that came before it in the recording: a late or duplicate
 * reply would be taken for the reply of the next command otherwise.
 */
class ReplayTransport : public host::DatagramTransport
{
    Q_OBJECT

public:
    explicit ReplayTransport(const Recording &recording);

    QString open(const QHostAddress &local) override;
    void close() override {}
    SendResult send(const QHostAddress &address, quint16 port, const QByteArray &datagram) override;
    void readPending() override {}

    /** A command of the device at this address has ended. */
    void noteEnd(const QString &address);

    /** The last command has ended. */
    void noteLastEnd();

    /** Whether a device has something to say that it has not said yet. */
    bool isMoreToCome() const;

Q_SIGNALS:
    /** Here somebody broke the run off. */
    void interrupted();

private:
    struct Device
    {
        std::unique_ptr<ReplayScript> script;
        bool isAtInterruption = false; ///< nothing is sent to it any more
    };

    Device &deviceAt(const QString &address);
    void play(const QString &address, const RecordedStep &step);

    std::map<QString, Device> m_devices; ///< by address
    bool m_isHoldingBack = false;        ///< a datagram that was not taken
};

} // namespace biz::console

#endif
