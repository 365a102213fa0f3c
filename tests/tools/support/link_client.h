#ifndef BIZ_TEST_LINK_CLIENT_H
#define BIZ_TEST_LINK_CLIENT_H

#include <memory>
#include <optional>

#include <QtCore/QVector>

#include <host/device_link.h>
#include <host/frame_codec.h>

namespace biz::test {

/** A host's end of any link, with the demonstration codec of its kind; keeps what came, byte by byte. */
class LinkClient
{
public:
    /** Opens the link; isOpen() tells whether that worked. */
    explicit LinkClient(const QString &url);

    bool isOpen() const { return m_link != nullptr && m_link->isOpen(); }

    /** Waits until the device has closed the link; false when it does not in time. */
    bool waitForClose();

    void send(const model_Protocoldata &command);
    void sendBytes(const QByteArray &bytes);

    /** False when the link does not take the command within a short time, since it holds too much. */
    bool trySend(const model_Protocoldata &command);

    /** The next reply; none when none comes in time. */
    std::optional<model_Protocoldata> reply();

    /** The sequence bytes of the next replies, separated by blanks. */
    QString nextSequences(int count);

    /** Waits until so many bytes came in all; false when they do not in time. */
    bool waitForBytes(qsizetype count);

    /** Whether a reply comes within a time that is short, but long for the loopback network. */
    bool staysSilent();

    /** What came so far, as it came: a datagram or what a read yielded. */
    const QVector<QByteArray> &pieces() const { return m_pieces; }
    QByteArray bytes() const;

    int refusedBytes() const { return m_refusedBytes; }

    /** What this end makes of records: a frame, or a datagram over UDP. */
    QByteArray bytesOf(const model_Protocoldata &record) const { return m_codec->encode(record); }

private:
    void take(const QByteArray &bytes);

    std::unique_ptr<host::DeviceLink> m_link;
    std::unique_ptr<host::FrameCodec> m_codec;
    QVector<QByteArray> m_pieces;
    QVector<model_Protocoldata> m_replies;
    int m_refusedBytes = 0;
    bool m_closed = false;
};

/** A command with these first bytes of its head. */
model_Protocoldata commandOf(int sequence, int command, int subCode, int index = 0);

} // namespace biz::test

#endif
