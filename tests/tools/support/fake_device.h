#ifndef BIZ_TEST_FAKE_DEVICE_H
#define BIZ_TEST_FAKE_DEVICE_H

#include <functional>

#include <QtCore/QVector>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <host/frame_codec.h>

namespace biz::test {

/** A device on a free TCP port of this process, which does to each command what a test says. */
class FakeDevice
{
public:
    using Behaviour = std::function<void(FakeDevice &, const model_Protocoldata &command)>;

    explicit FakeDevice(Behaviour behaviour);

    QString url() const;
    int commands() const { return m_commands; }

    void send(const model_Protocoldata &reply);
    void sendAfter(int milliseconds, const model_Protocoldata &reply);
    void closeLink();

    /** A behaviour: the command comes back as its own reply. */
    static void echo(FakeDevice &device, const model_Protocoldata &command) { device.send(command); }

    /** A behaviour of an A2: the answer to F1/05 is a byte short, the rule asks for 129 bytes. */
    static void answerShort(FakeDevice &device, const model_Protocoldata &command);

    /** A behaviour: nothing comes back. */
    static void stayAway(FakeDevice & /*device*/, const model_Protocoldata & /*command*/) {}

private:
    void accept();
    void read();

    Behaviour m_behaviour;
    QTcpServer m_server;
    QTcpSocket *m_socket = nullptr;
    host::DemoFrameCodec m_codec;
    int m_commands = 0;
};

} // namespace biz::test

#endif
