#ifndef BIZ_HOST_SERIAL_SETTINGS_P_H
#define BIZ_HOST_SERIAL_SETTINGS_P_H

#include <QtCore/QUrl>
#include <QtSerialPort/QSerialPort>

namespace biz::host {

/** A serial port and how it is to be set, as the URL of a serial link says it. */
struct SerialSettings
{
    QString device; ///< "/dev/ttyUSB0"
    qint32 baud = QSerialPort::Baud115200;
    QSerialPort::Parity parity = QSerialPort::NoParity;
    QSerialPort::DataBits dataBits = QSerialPort::Data8;
    QSerialPort::StopBits stopBits = QSerialPort::OneStop;
    QSerialPort::FlowControl flow = QSerialPort::NoFlowControl;

    /** The URL that names all of it. */
    QString url() const;
};

/** Reads serial:///dev/NAME[?baud=...]; returns what is wrong with it, empty when nothing is. */
QString readSerialUrl(const QUrl &url, SerialSettings *settings);

} // namespace biz::host

#endif
