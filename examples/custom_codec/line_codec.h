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

#endif
