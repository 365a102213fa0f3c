// What must hold: records and refusals do not depend on how the bytes were split; each stretch
// between two zeros is one record or one refusal; no more than one longest frame is held; whatever
// came before, a zero and a frame are read as that frame; any bytes come back as a payload; a datagram can be made
// again from its record.

#include "fuzz_target.h"

#include <algorithm>
#include <iterator>

#include <host/frame_codec.h>
#include <host/osd_datagram_codec.h>

namespace {

using namespace biz::host;
using biz::fuzz::require;

constexpr int longestStretch = 65803; // between two delimiters

bool same(const model_Protocoldata &left, const model_Protocoldata &right)
{
    return std::equal(std::begin(left.ucHead), std::end(left.ucHead), std::begin(right.ucHead)) &&
           left.baData == right.baData;
}

bool same(const Refusal &left, const Refusal &right)
{
    return left.bytes == right.bytes && left.reason == right.reason;
}

template<typename Item>
bool same(const QVector<Item> &left, const QVector<Item> &right)
{
    return std::equal(left.cbegin(), left.cend(), right.cbegin(), right.cend(),
                      [](const Item &one, const Item &other) { return same(one, other); });
}

/** In parts of `part` bytes. */
Decoded decode(const QByteArray &bytes, int part)
{
    DemoFrameCodec codec;
    Decoded all;
    for (int at = 0; at < bytes.size(); at += part) {
        const Decoded decoded = codec.decode(bytes.mid(at, part));
        all.records += decoded.records;
        all.refusals += decoded.refusals;
        require(codec.heldBytes() <= longestStretch, "one longest frame at most is held");
    }
    codec.reset();
    require(codec.heldBytes() == 0, "a reset forgets everything");
    return all;
}

/** How many stretches that are not empty a delimiter ends. */
int endedStretches(const QByteArray &bytes)
{
    int stretches = 0;
    for (int at = 1; at < bytes.size(); ++at) {
        stretches += bytes[at] == '\0' && bytes[at - 1] != '\0' ? 1 : 0;
    }
    return stretches;
}

void checkStream(const QByteArray &bytes, int part)
{
    const Decoded whole = decode(bytes, std::max(1, static_cast<int>(bytes.size())));
    const Decoded parts = decode(bytes, part);
    require(same(whole.records, parts.records), "the records do not depend on the split");
    require(same(whole.refusals, parts.refusals), "the refusals do not depend on the split");
    for (const Refusal &refusal : whole.refusals) {
        require(refusal.bytes > 0 && !refusal.reason.isEmpty(), "a refusal says what and why");
    }
    if (bytes.size() <= longestStretch) {
        require(whole.records.size() + whole.refusals.size() == endedStretches(bytes),
                "each stretch is one record or one refusal");
    }
    model_Protocoldata next;
    next.baData = bytes.left(part);
    const Decoded resynchronised = decode(bytes + '\0' + DemoFrameCodec().encode(next), part);
    require(!resynchronised.records.isEmpty() && same(resynchronised.records.constLast(), next),
            "a decoder is in step again at the next zero");
    for (const model_Protocoldata &record : whole.records) {
        const Decoded again = DemoFrameCodec().decode(DemoFrameCodec().encode(record));
        require(same(again.records, {record}), "a record that was received can be sent");
    }
}

/** The bytes as a payload, which must come back from every format. */
void checkPayload(const QByteArray &payload)
{
    model_Protocoldata record;
    record.baData = payload;
    const QByteArray frame = DemoFrameCodec().encode(record);
    require(frame.indexOf('\0') == frame.size() - 1, "the delimiter is the only zero");
    require(same(DemoFrameCodec().decode(frame).records, {record}), "a frame is read as what it was made of");
    const QByteArray datagram = DemoDatagramCodec().encode(record);
    require(same(DemoDatagramCodec().decode(datagram).records, {record}), "a datagram is read as what it was made of");
}

void checkDatagram(const QByteArray &datagram)
{
    const Decoded decoded = DemoDatagramCodec().decode(datagram);
    require(decoded.records.size() + decoded.refusals.size() == 1, "a datagram is one record or one refusal");
    for (const model_Protocoldata &record : decoded.records) {
        require(DemoDatagramCodec().encode(record) == datagram, "a datagram can be made again from its record");
    }
}

void checkOsdDatagram(const QByteArray &datagram)
{
    model_OsdParam record;
    record.ucOsdFlag = 0x5A;
    record.baData = "untouched";
    QString reason;
    if (OsdDatagramCodec::decode(datagram, &record, &reason)) {
        require(OsdDatagramCodec::encode(record) == datagram, "an OSD datagram can be made again from its record");
    } else {
        require(!reason.isEmpty(), "a refusal says why");
        require(record.ucOsdFlag == 0x5A && record.baData == "untouched", "a refusal leaves the record alone");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 2) {
        return 0;
    }
    const QByteArray bytes(reinterpret_cast<const char *>(data + 1), static_cast<int>(size - 1));
    checkStream(bytes, 1 + data[0]);
    checkPayload(bytes.left(DemoDatagramCodec::maxPayload));
    checkDatagram(bytes.left(DemoDatagramCodec::maxPayload));
    checkOsdDatagram(bytes);
    return 0;
}
