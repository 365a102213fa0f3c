#ifndef BIZ_TESTS_HOST_FAKE_LINK_H
#define BIZ_TESTS_HOST_FAKE_LINK_H

#include <algorithm>
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

    /** Emits closed() within close(), as a careless link does. */
    bool tellsOfClose = false;

    /** So many of the next writes are not taken. */
    int refusals = 0;

    /** Called inside write(), after the command has been noted; what it throws, write() throws. */
    std::function<void(const model_Protocoldata &)> onCommand;

    std::vector<model_Protocoldata> commands; ///< all that was written, decoded

    void open() override
    {
        if (opening != Opening::Never) {
            QTimer::singleShot(0, this, [this] { finishOpening(); });
        }
    }

    void close() override
    {
        m_isOpen = false;
        if (tellsOfClose) {
            Q_EMIT closed(QStringLiteral("closed on request"));
        }
    }

    bool isOpen() const override { return m_isOpen; }
    bool canWrite() const override { return m_isOpen && !m_isFull; }

    bool write(const QByteArray &bytes) override
    {
        if (!m_isOpen || refusals > 0) {
            refusals = std::max(refusals - 1, 0);
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

    /** Bytes that are no frame, and a whole stretch of them. */
    void sendGarbage() { Q_EMIT received(QByteArray("garbage\0", 8)); }

    /** The device hangs up. */
    void breakDown(const QString &reason)
    {
        m_isOpen = false;
        Q_EMIT closed(reason);
    }

    /** The buffers towards the device are full, and have room again. */
    void fill() { m_isFull = true; }
    void makeRoom()
    {
        m_isFull = false;
        Q_EMIT writable();
    }

private:
    void finishOpening()
    {
        if (opening == Opening::Fails) {
            Q_EMIT closed(QStringLiteral("nobody is there"));
            return;
        }
        m_device.reset();
        m_isOpen = true;
        Q_EMIT opened();
    }

    host::DemoFrameCodec m_device;
    bool m_isOpen = false;
    bool m_isFull = false;
};

} // namespace biz::test

#endif
