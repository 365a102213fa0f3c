#include <link/serial_link_p.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <QtCore/QFile>

namespace biz::host {

namespace {

/** Whether there is something of this name that can be opened and is no terminal, as a port is. */
bool isOtherThanTerminal(const QString &device)
{
    const int file = ::open(QFile::encodeName(device).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    const bool isTerminal = isatty(file) == 1;
    ::close(file);
    return !isTerminal;
}

} // namespace

SerialLink::SerialLink(const SerialSettings &settings)
    : m_settings(settings)
{
    m_port.setPortName(settings.device);
    m_port.setBaudRate(settings.baud);
    m_port.setParity(settings.parity);
    m_port.setDataBits(settings.dataBits);
    m_port.setStopBits(settings.stopBits);
    m_port.setFlowControl(settings.flow);
    m_opening.setSingleShot(true);
    connect(&m_opening, &QTimer::timeout, this, &SerialLink::openPort);
    connect(&m_port, &QSerialPort::errorOccurred, this, &SerialLink::onError);
    connect(&m_port, &QSerialPort::readyRead, this, &SerialLink::onReadyRead);
    connect(&m_window, &WriteWindow::roomAgain, this, &SerialLink::writable);
}

SerialLink::~SerialLink()
{
    close();
}

void SerialLink::open()
{
    if (m_wanted) {
        return;
    }
    m_wanted = true;
    m_opening.start(0);
}

void SerialLink::close()
{
    m_wanted = false;
    m_opening.stop();
    m_window.reset();
    if (m_open) {
        m_open = false;
        m_port.flush(); // what the system takes at once still goes out
    }
    if (m_port.isOpen()) {
        m_port.close();
    }
}

bool SerialLink::isOpen() const
{
    return m_open;
}

bool SerialLink::write(const QByteArray &bytes)
{
    if (!m_open || m_port.write(bytes) != bytes.size()) {
        return false;
    }
    m_window.add(bytes.size());
    return true;
}

bool SerialLink::canWrite() const
{
    return m_open && m_window.hasRoom();
}

qint64 SerialLink::bytesHeld() const
{
    if (!m_open) {
        return 0;
    }
    int inDriver = 0;
    ioctl(m_port.handle(), TIOCOUTQ, &inDriver);
    return m_port.bytesToWrite() + inDriver;
}

void SerialLink::discard()
{
    if (bytesHeld() > 0) {
        m_port.clear(QSerialPort::Output);
    }
}

QString SerialLink::name() const
{
    return m_settings.url();
}

// The port applies its settings while it opens, and does not open when one is refused.
void SerialLink::openPort()
{
    if (!m_port.open(QIODevice::ReadWrite)) {
        const QString why =
            isOtherThanTerminal(m_settings.device) ? QStringLiteral("it is no serial port") : m_port.errorString();
        end(QStringLiteral("cannot open %1: %2").arg(name(), why));
        return;
    }
    m_open = true;
    Q_EMIT opened();
}

void SerialLink::onError(QSerialPort::SerialPortError error)
{
    // While it opens, openPort() reports; and a close clears the error, which is told as well.
    if (!m_open || error == QSerialPort::NoError) {
        return;
    }
    // A port that has gone away, as an adapter that was pulled out, shows as one of these, and
    // goes on doing so without end.
    const bool isGone = error == QSerialPort::ResourceError || error == QSerialPort::ReadError ||
                        error == QSerialPort::WriteError || error == QSerialPort::PermissionError;
    if (isGone) {
        onReadyRead();
        if (!m_open) {
            return; // whoever got the last bytes has closed the link, and may have opened it anew
        }
        // The system's own text depends on which call was the first to find out.
        end(QStringLiteral("%1 was closed: it hung up; its adapter, or the program at its other end, is gone")
                .arg(name()));
    }
}

void SerialLink::onReadyRead()
{
    const QByteArray bytes = m_port.readAll();
    if (m_open && !bytes.isEmpty()) {
        Q_EMIT received(bytes);
    }
}

/** Closes the port and says why; a slot may open the link anew. */
void SerialLink::end(const QString &reason)
{
    if (!m_wanted) {
        return;
    }
    m_wanted = false;
    m_open = false;
    m_window.reset();
    if (m_port.isOpen()) {
        m_port.close();
    }
    Q_EMIT closed(reason);
}

} // namespace biz::host
