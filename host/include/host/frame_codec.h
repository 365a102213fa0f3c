#ifndef BIZ_HOST_FRAME_CODEC_H
#define BIZ_HOST_FRAME_CODEC_H

#include <memory>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <host/host_export.h>
#include <model/model_protocoldata.h>

namespace biz::host {

/** Bytes that a decoder threw away, and why. */
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

/** Turns records into bytes and bytes into records; an application brings its own by deriving. */
class BIZ_HOST_EXPORT FrameCodec
{
public:
    virtual ~FrameCodec();

    /** The bytes of a record; empty when it cannot be put into a frame. */
    virtual QByteArray encode(const model_Protocoldata &record) const = 0;

    /**
     * Takes the next received bytes, however they were split, and returns the records that
     * are complete now. Survives any input: it finds the next frame after garbage, keeps a
     * bounded number of bytes, and reports each thing that it refuses.
     */
    virtual Decoded decode(const QByteArray &bytes) = 0;

    /** Forgets a half-received frame, as after a reconnect. */
    virtual void reset() = 0;
};

/**
 * The demonstration frame: A5 5A, the seven head bytes, payload length (16 bits, low byte
 * first), payload, CRC (qChecksum, ISO 3309, low byte first) over head, length and payload.
 *
 * Of all the frames that may have started in the bytes received, the one that is complete
 * first is taken. So no false start, whatever length it claims, holds back a frame behind
 * it; and what is decoded does not depend on how the bytes were split. The price: a frame
 * whose payload holds a whole valid frame cannot be told from a false start before that
 * frame, and encode() refuses to make one.
 *
 * Between two calls less than one maximal frame is held, and a note for each place in it
 * where a frame may start. The time that decode() takes grows with the number of bytes,
 * whatever they are.
 */
class BIZ_HOST_EXPORT DemoFrameCodec : public FrameCodec
{
public:
    static constexpr int maxPayload = 0xFFFF;

    DemoFrameCodec();
    ~DemoFrameCodec() override;

    QByteArray encode(const model_Protocoldata &record) const override;
    Decoded decode(const QByteArray &bytes) override;
    void reset() override;

    /** How many received bytes wait for the rest of a frame. */
    int heldBytes() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace biz::host

#endif
