#ifndef BIZ_HOST_OSD_DATAGRAM_CODEC_H
#define BIZ_HOST_OSD_DATAGRAM_CODEC_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <host/host_export.h>
#include <model/model_osdparam.h>

namespace biz::host {

/**
 * The demonstration datagram of the OSD channel: A5 0D, the eleven head bytes, the flag, the payload length, the
 * payload and a CRC. docs/wire_format.md has each byte. One datagram holds one record.
 *
 * Both functions may be called on any thread, at once as well.
 */
class BIZ_HOST_EXPORT OsdDatagramCodec
{
public:
    /** The number of payload bytes that a datagram can carry. */
    static constexpr int maxPayload = 65000;

    /** The datagram of a record; empty when the payload does not fit. */
    static QByteArray encode(const model_OsdParam &record);

    /**
     * Fills head, flag and payload of `record` and returns true. A datagram that is not sound is refused:
     * `record` stays as it was, and `reason` says what is wrong.
     */
    static bool decode(const QByteArray &datagram, model_OsdParam *record, QString *reason);
};

} // namespace biz::host

#endif
