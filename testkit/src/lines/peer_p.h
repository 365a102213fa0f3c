#ifndef BIZ_TESTKIT_PEER_P_H
#define BIZ_TESTKIT_PEER_P_H

#include <memory>

#include <QtCore/QObject>
#include <QtCore/QQueue>
#include <QtCore/QTimer>

#include <host/frame_codec.h>

namespace biz::testkit {

/**
 * A host as a device sees it: the other end of a connection or a line, or a sender of datagrams. The codec is that
 * of the line.
 */
class Peer : public QObject
{
    Q_OBJECT

public:
    explicit Peer(std::unique_ptr<host::FrameCodec> codecOfLine);
    ~Peer() override;

    virtual bool isOpen() const = 0;

    /** Ends the connection, where there is one. */
    virtual void hangUp() = 0;

    /** The most that waits for pauses; what would be more is not sent. Each part counts with what surrounds it. */
    static constexpr qint64 mostWaitingBytes = qint64{4} << 20;

    /** What became of parts that were to be sent. */
    enum class Sending { Done, HostIsGone, TooMuchWaits };

    /**
     * Writes each of the parts by itself, with a pause before each but the first. What is sent
     * later waits for them.
     */
    Sending send(const QVector<QByteArray> &parts, int pauseMs);

    const std::unique_ptr<host::FrameCodec> codec; ///< for what comes from the peer, and what goes to it
    QByteArray heldReply;                          ///< waits for the next one, to leave in one write with it

protected:
    virtual void write(const QByteArray &bytes) = 0;

private:
    struct Part
    {
        QByteArray bytes;
        int pauseMs;
    };

    void sendParts();

    QQueue<Part> m_parts;
    qint64 m_waitingBytes = 0; ///< of the parts
    QTimer m_pause;
};

using PeerPointer = std::shared_ptr<Peer>;

} // namespace biz::testkit

#endif
