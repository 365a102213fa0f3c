#ifndef LINE_CODEC_H
#define LINE_CODEC_H

#include <host/frame_codec.h>

/**
 * A wire format of an application's own: one record a line, the seven head bytes and the
 * payload in hexadecimal, as in "01F1080000000055AA\n".
 */
class LineCodec : public biz::host::FrameCodec
{
public:
    QByteArray encode(const model_Protocoldata &record) const override;
    biz::host::Decoded decode(const QByteArray &bytes) override;
    void reset() override { m_line.clear(); }

private:
    QByteArray m_line; ///< a line that has not ended yet
};

/**
 * What the device of this example answers: each record with "hello" as its payload, which are the five
 * bytes that an A2 has to answer to F1/12.
 */
QByteArray greetEachRecord(LineCodec *device, const QByteArray &bytes);

#endif
