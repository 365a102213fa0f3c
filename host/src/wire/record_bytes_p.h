#ifndef BIZ_HOST_RECORD_BYTES_P_H
#define BIZ_HOST_RECORD_BYTES_P_H

#include <QtCore/QByteArray>

#include <host/frame_codec.h>
#include <wire/frame_bytes_p.h>

/** What a demonstration frame and a demonstration datagram carry: head, payload and CRC of one record. */
namespace biz::host::wire {

constexpr int recordHeadSize = sizeof(model_Protocoldata::ucHead);
constexpr int aroundPayload = recordHeadSize + crcSize;

/** Head, payload and CRC of a record. */
QByteArray bytesOf(const model_Protocoldata &record);

/**
 * Adds the record that the bytes are to `decoded`. When they are none, it adds a refusal, which covers
 * `received` bytes.
 */
void takeRecord(const QByteArray &bytes, int received, Decoded *decoded);

} // namespace biz::host::wire

#endif
