#ifndef BIZ_TESTS_HOST_FAKE_LINK_H
#define BIZ_TESTS_HOST_FAKE_LINK_H

#include <functional>
#include <vector>

#include <QtCore/QTimer>

#include <host/device_link.h>
#include <host/frame_codec.h>

namespace biz::test {

/** A link whose other end is the test: it sees each command and says what comes back. */
class FakeLink : public host::DeviceLink
{
public:
    enum class Opening { FromTheEventLoop, Never, Fails };

    Opening opening = Opening::FromTheEventLoop;

    /** Called inside write(), after the command has been noted. */
    std::function<void(const model_Protocoldata &)> onCommand;

    std::vector<model_Protocoldata> commands; ///< all that was written, decoded

    void open() override
    {
        if (opening != Opening::Never) {
            QTimer::singleShot(0, this, [this] { finishOpening(); });
        }
    }

    void close() override { m_open = false; }

    bool isOpen() const override { return m_open; }

    bool write(const QByteArray &bytes) override
    {
        if (!m_open) {
            return false;
        }
        const host::Decoded decoded = m_device.decode(bytes);
        for (const model_Protocoldata &command : decoded.records) {
            commands.push_back(command);
            if (onCommand) {
                onCommand(command);
            }
        }
        return true;
    }

    QString name() const override { return QStringLiteral("fake:"); }

    /** The device answers a command, or whatever else it likes to say. */
    void reply(const model_Protocoldata &record) { Q_EMIT received(host::DemoFrameCodec().encode(record)); }

    /** The device hangs up. */
    void breakDown(const QString &reason)
    {
        m_open = false;
        Q_EMIT closed(reason);
    }

private:
    void finishOpening()
    {
        if (opening == Opening::Fails) {
            Q_EMIT closed(QStringLiteral("nobody is there"));
            return;
        }
        m_open = true;
        Q_EMIT opened();
    }

    host::DemoFrameCodec m_device;
    bool m_open = false;
};

} // namespace biz::test

#endif
