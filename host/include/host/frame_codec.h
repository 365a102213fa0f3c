#ifndef BIZ_HOST_FRAME_CODEC_H
#define BIZ_HOST_FRAME_CODEC_H

#include <memory>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <host/host_export.h>
#include <model/model_protocoldata.h>

namespace biz::host {

/** Received bytes that a decoder threw away, and why. */
struct Refusal
{
    int bytes = 0;
    QString reason;
};

/** What a decoder made of the bytes that it was given. */
struct Decoded
{
    QVector<model_Protocoldata> records;
    QVector<Refusal> refusals;
};

/**
 * Turns records into the bytes of a link, and received bytes into records. An application whose devices
 * speak a format of their own derives from this class and gives the codec to the host.
 *
 * - Threads: a codec belongs to one host, which calls it on its own thread.
 * - State: a codec may keep received bytes from one decode() to the next, so each link needs its own codec.
 * - Errors: encode() answers with no bytes, decode() with refusals. No function throws.
 */
class BIZ_HOST_EXPORT FrameCodec
{
public:
    virtual ~FrameCodec();

    /** The bytes of a record; empty when the format cannot carry the record. */
    virtual QByteArray encode(const model_Protocoldata &record) const = 0;

    /**
     * Whether encode() has bytes for this record. The host asks for each command that is enqueued. The default
     * encodes the record and looks at the result; a codec that can tell sooner overrides it.
     */
    virtual bool canEncode(const model_Protocoldata &record) const;

    /**
     * Takes the next received bytes and returns the records that are complete now.
     *
     * On a link that is a stream, such as TCP or a serial line, the bytes may end anywhere, and the records must not
     * depend on where. On a link that keeps message boundaries, such as UDP, the bytes are one message.
     * Any bytes may come: the decoder finds the next frame behind those that make no sense, reports
     * what it throws away, and holds a bounded number of bytes.
     */
    virtual Decoded decode(const QByteArray &bytes) = 0;

    /** Forgets the bytes that wait for the rest of their frame. The host calls it when a link has opened. */
    virtual void reset() = 0;

    /** Bytes to write once when a connection has opened, before the first frame. The default is none. */
    virtual QByteArray preamble() const;
};

/**
 * The demonstration frame, for links that are a stream: the seven head bytes, the payload and a CRC, byte-stuffed
 * (COBS) so that no zero is among them, and one zero behind them. docs/wire_format.md has each byte.
 *
 * - Every zero ends a frame: after any damage the decoder is in step again at the next zero.
 * - Each stretch between two zeros is one record or one refusal, which counts the bytes of the stretch without its
 *   zeros. An empty stretch is neither.
 * - A stretch that is longer than every frame is refused in portions of one largest frame.
 * - Neither the records nor the refusals depend on how the bytes were split.
 * - Between two calls the decoder holds one largest frame at most. The time of each function grows with the number
 *   of bytes, whatever they are.
 */
class BIZ_HOST_EXPORT DemoFrameCodec : public FrameCodec
{
public:
    /** The number of payload bytes that a frame can carry. */
    static constexpr int maxPayload = 0xFFFF;

    DemoFrameCodec();
    ~DemoFrameCodec() override;

    QByteArray encode(const model_Protocoldata &record) const override;
    bool canEncode(const model_Protocoldata &record) const override;
    Decoded decode(const QByteArray &bytes) override;
    void reset() override;

    /** One zero, which ends whatever the receiver has half received before. */
    QByteArray preamble() const override;

    /** How many received bytes wait for the zero that ends their stretch. */
    int heldBytes() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

/**
 * The demonstration datagram, for links that keep message boundaries: the seven head bytes, the payload and
 * the CRC of the demonstration frame, without byte stuffing and without a zero behind them.
 *
 * One message is one record, or one refusal of all its bytes. Nothing is held between two calls.
 */
class BIZ_HOST_EXPORT DemoDatagramCodec : public FrameCodec
{
public:
    /** The number of payload bytes that fit into one UDP datagram over IPv4 beside head and CRC. */
    static constexpr int maxPayload = 65498;

    QByteArray encode(const model_Protocoldata &record) const override;
    bool canEncode(const model_Protocoldata &record) const override;
    Decoded decode(const QByteArray &bytes) override;
    void reset() override;
};

} // namespace biz::host

#endif
