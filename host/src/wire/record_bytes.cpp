#include <wire/record_bytes_p.h>

#include <algorithm>
#include <iterator>

#include <byte_count_p.h>
#include <memory_p.h>

namespace biz::host::wire {

QByteArray bytesOf(const model_Protocoldata &record)
{
    QByteArray bytes;
    bytes.reserve(aroundPayload + record.baData.size());
    bytes.append(reinterpret_cast<const char *>(record.ucHead), recordHeadSize);
    bytes.append(record.baData);
    appendNumber(&bytes, crcOf(bytes, 0, byteCount(bytes)));
    return bytes;
}

void takeRecord(const QByteArray &bytes, int received, Decoded *decoded)
{
    const int crcAt = byteCount(bytes) - crcSize;
    if (bytes.size() < aroundPayload) {
        decoded->refusals.append(
            {received,
             QStringLiteral("%1 bytes are no record, which has at least %2").arg(bytes.size()).arg(aroundPayload)});
    } else if (numberAt(bytes, crcAt) != crcOf(bytes, 0, crcAt)) {
        decoded->refusals.append({received, QStringLiteral("CRC does not match")});
    } else {
        model_Protocoldata record;
        std::copy_n(bytes.cbegin(), recordHeadSize, std::begin(record.ucHead));
        if (memorySuffices([&] { record.baData = bytes.mid(recordHeadSize, bytes.size() - aroundPayload); })) {
            decoded->records.append(record);
        } else {
            decoded->refusals.append({received, noMemoryReason()});
        }
    }
}

} // namespace biz::host::wire
