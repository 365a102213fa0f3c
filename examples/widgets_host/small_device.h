#ifndef SMALL_DEVICE_H
#define SMALL_DEVICE_H

#include <memory>

#include <QtNetwork/QTcpServer>

#include <host/frame_codec.h>

/**
 * A device within this process, so that the program shows itself without one: it listens on
 * the loopback interface and answers every command with the five bytes that an A2 has for
 * F1/12.
 */
class SmallDevice : public QObject
{
    Q_OBJECT

public:
    explicit SmallDevice(QObject *parent = nullptr);

    /** Where it listens; empty when it does not. */
    QString url() const;

private:
    void accept();

    QTcpServer m_server;
    std::unique_ptr<biz::host::FrameCodec> m_codec;
};

#endif
