#ifndef BIZ_HOST_SERIAL_LINK_P_H
#define BIZ_HOST_SERIAL_LINK_P_H

#include <QtCore/QTimer>

#include <host/device_link.h>
#include <link/serial_settings_p.h>
#include <link/write_window_p.h>

namespace biz::host {

/** A device at a serial port. */
class SerialLink final : public DeviceLink
{
    Q_OBJECT

public:
    explicit SerialLink(const SerialSettings &settings);
    ~SerialLink() override;

    void open() override;
    void close() override;
    bool isOpen() const override;
    bool write(const QByteArray &bytes) override;
    bool canWrite() const override;
    qint64 bytesHeld() const override;
    void discard() override;
    QString name() const override;

private:
    void openPort();
    void onError(QSerialPort::SerialPortError error);
    void onReadyRead();
    void end(const QString &reason);

    const SerialSettings m_settings;
    QSerialPort m_port{this};
    WriteWindow m_window{this};

    /** Opens from the event loop, so that open() returns before opened() or closed(). */
    QTimer m_opening{this};

    bool m_wanted = false;
    bool m_open = false;
};

} // namespace biz::host

#endif
