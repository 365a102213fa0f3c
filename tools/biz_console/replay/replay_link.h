#ifndef BIZ_CONSOLE_REPLAY_LINK_H
#define BIZ_CONSOLE_REPLAY_LINK_H

#include <functional>

#include <biz_console/replay/replay_script.h>
#include <host/device_link.h>

namespace biz::console {

/** A link whose device is a recording: it says again what the recorded one said. */
class ReplayLink : public host::DeviceLink
{
    Q_OBJECT

public:
    explicit ReplayLink(const Recording &recording);

    void open() override;
    void close() override { m_isOpen = false; }
    bool isOpen() const override { return m_isOpen; }
    bool write(const QByteArray &bytes) override;
    bool keepsMessageBoundaries() const override { return m_name.startsWith(QLatin1String("udp:")); }
    QString name() const override { return m_name; }

    /** As TcpLink, whose device then sends its last replies and closes: both are in the recording. */
    bool endWriting() override { return m_isOpen && m_name.startsWith(QLatin1String("tcp:")); }

    /** A command has ended. */
    void noteEnd(const QString & /*device*/) { m_script.noteEnd(); }

    /** The last command has ended. */
    void noteLastEnd() { m_script.noteLastEnd(); }

    /** Whether the device has something to say or do that it has not yet. */
    bool isMoreToCome() const { return !m_script.isOver(); }

Q_SIGNALS:
    /** Here somebody broke the run off. */
    void interrupted();

private:
    void play(const RecordedStep &step);

    QString m_name;
    ReplayScript m_script;
    bool m_isOpen = false;
    bool m_wasOpened = false;
};

} // namespace biz::console

#endif
