#include "fuzz_target.h"

#include <algorithm>

#include <host/frame_codec.h>
#include <host/osd_datagram_codec.h>

namespace {

using namespace biz::host;
using biz::fuzz::require;

constexpr int frameOverhead = 13; // start, head, length, CRC

bool same(const model_Protocoldata &left, const model_Protocoldata &right)
{
    return std::equal(std::begin(left.ucHead), std::end(left.ucHead), std::begin(right.ucHead)) &&
           left.baData == right.baData;
}

struct Outcome
{
    QVector<model_Protocoldata> records;
    int refused = 0;
    int held = 0;
};

void add(Outcome &outcome, const Decoded &decoded)
{
    outcome.records += decoded.records;
    for (const Refusal &refusal : decoded.refusals) {
        require(refusal.bytes >= 0 && !refusal.reason.isEmpty(), "a refusal says what and why");
        outcome.refused += refusal.bytes;
    }
}

/** In parts of `part` bytes; 0: in one piece. */
Outcome decode(const QByteArray &bytes, int part)
{
    DemoFrameCodec codec;
    Outcome outcome;
    for (int at = 0; at < bytes.size(); at += part == 0 ? bytes.size() : part) {
        add(outcome, codec.decode(part == 0 ? bytes : bytes.mid(at, part)));
        require(codec.heldBytes() < frameOverhead + DemoFrameCodec::maxPayload, "less than one frame is held");
    }
    outcome.held = codec.heldBytes();
    codec.reset();
    require(codec.heldBytes() == 0, "a reset forgets everything");
    return outcome;
}

void checkFrames(const QByteArray &bytes, int part)
{
    const Outcome whole = decode(bytes, 0);
    const Outcome parts = decode(bytes, part);
    require(whole.records.size() == parts.records.size(), "the number of records does not depend on the split");
    require(std::equal(whole.records.begin(), whole.records.end(), parts.records.begin(), same),
            "the records do not depend on the split");

    int accounted = whole.refused + whole.held;
    int from = 0;
    for (const model_Protocoldata &record : whole.records) {
        const QByteArray frame = DemoFrameCodec().encode(record);
        if (!frame.isEmpty()) {
            const int at = bytes.indexOf(frame, from);
            require(at >= 0, "a record was in the bytes, behind the one before");
            from = at + frame.size();
        }
        accounted += frameOverhead + record.baData.size();
    }
    require(accounted == bytes.size(), "every byte is in a record, refused or held");
}

void checkDatagram(const QByteArray &datagram)
{
    model_OsdParam record;
    record.ucOsdFlag = 0x5A;
    record.baData = "untouched";
    QString reason;
    if (OsdDatagramCodec::decode(datagram, &record, &reason)) {
        require(OsdDatagramCodec::encode(record) == datagram, "a datagram can be made again from its record");
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
    checkFrames(bytes, 1 + data[0]);
    checkDatagram(bytes);
    return 0;
}
