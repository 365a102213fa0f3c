#include "sweep.h"

#include <set>
#include <sstream>

using listing::Alternative;
using listing::Field;
using listing::Line;
using listing::Part;
using listing::Wire;

namespace {

constexpr int highestByte = 0xFF;
constexpr int highestLength = 0xFFFF;

/** More than any declared length: its low 16 bits are zero, so a cut shows as well. */
constexpr int largePayload = 0x10000;

/** For bytes that a line does not look at. */
const std::set<int> extremeBytes = {0x00, 0x01, 0x80, 0xFF};

std::set<int> everyByte()
{
    std::set<int> values;
    for (int value = 0; value <= highestByte; ++value) {
        values.insert(values.end(), value);
    }
    return values;
}

void addAround(std::set<int> &values, int limit, int highest)
{
    for (int value = limit - 1; value <= limit + 1; ++value) {
        if (value >= 0 && value <= highest) {
            values.insert(value);
        }
    }
}

template<typename Visit>
void forEachAlternative(const Line &line, Visit visit)
{
    for (const Part &part : line.parts) {
        for (const Alternative &one : part) {
            visit(one);
        }
    }
}

/** The values of one head byte; `inPair` says how the byte stands in the pair of bytes 3 and 4. */
std::set<int> bytesOf(const Line &line, Field field, Depth depth, int inPair)
{
    const bool bounded = line.looksAt(field) || (inPair != 0 && line.looksAt(Field::B4B3));
    if (depth == Depth::EveryByte) {
        return bounded || field == Field::B3 ? everyByte() : extremeBytes;
    }
    std::set<int> values = extremeBytes;
    forEachAlternative(line, [&](const Alternative &one) {
        if (one.field == field) {
            addAround(values, one.span.low, highestByte);
            addAround(values, one.span.high, highestByte);
        } else if (one.field == Field::B4B3 && inPair != 0) {
            addAround(values, one.span.low / inPair % 256, highestByte);
            addAround(values, one.span.high / inPair % 256, highestByte);
        }
    });
    return values;
}

std::set<int> declaredLengths(const Line &line)
{
    std::set<int> lengths;
    forEachAlternative(line, [&lengths](const Alternative &one) {
        if (one.field != Field::Len) {
            return;
        }
        for (const int limit : {one.span.low, one.span.high, one.leastPayload}) {
            addAround(lengths, limit, highestLength);
            lengths.insert(limit % 256 * 256 + limit / 256); // its bytes in the wrong order
        }
    });
    return lengths;
}

std::set<int> payloadSizes(const Line &line)
{
    std::set<int> sizes = {0, largePayload};
    forEachAlternative(line, [&sizes](const Alternative &one) {
        if (one.field == Field::Len) {
            addAround(sizes, one.span.low, largePayload);
            addAround(sizes, one.span.high, largePayload);
            addAround(sizes, one.leastPayload, largePayload);
        }
    });
    return sizes;
}

/** Bytes 4 and 5 together: their own values crossed, and the declared lengths. */
std::set<std::pair<int, int>> byte4And5(const Line &line, Depth depth)
{
    const std::set<int> bytes5 = bytesOf(line, Field::B5, depth, 0);
    std::set<std::pair<int, int>> pairs;
    for (const int b4 : bytesOf(line, Field::B4, depth, 256)) {
        for (const int b5 : bytes5) {
            pairs.emplace(b4, b5);
        }
    }
    for (const int length : declaredLengths(line)) {
        pairs.emplace(length % 256, length / 256);
    }
    return pairs;
}

void setHead(model_Protocoldata &record, int command, int subCode, const Wire &wire)
{
    record.ucHead[1] = static_cast<unsigned char>(command);
    record.ucHead[2] = static_cast<unsigned char>(subCode);
    record.ucHead[3] = static_cast<unsigned char>(wire.b3);
    record.ucHead[4] = static_cast<unsigned char>(wire.b4);
    record.ucHead[5] = static_cast<unsigned char>(wire.b5);
}

std::string hex(int value)
{
    const char digits[] = "0123456789ABCDEF";
    return {digits[value / 16], digits[value % 16]};
}

} // namespace

std::string wireForm(const std::string &model, int command, int subCode, const Wire &wire, bool declares)
{
    std::ostringstream text;
    text << model << ' ' << hex(command) << '/' << hex(subCode) << " index " << wire.b3;
    if (declares) {
        text << ", declared " << wire.declared();
    } else {
        text << ", byte 4 " << wire.b4 << ", byte 5 " << wire.b5;
    }
    text << ", payload " << wire.payload;
    return text.str();
}

model_Protocoldata replyRecord(int command, int subCode, const Wire &wire)
{
    model_Protocoldata record;
    record.ucHead[0] = 0xA5;
    record.ucHead[6] = 0x5A;
    setHead(record, command, subCode, wire);
    record.iWaitTime = -1;
    record.qsText1 = QStringLiteral("carried");
    record.nTag = 0xFFFFFFFF;
    record.baData = QByteArray(wire.payload, '\0');
    return record;
}

Sweep::Sweep(const CheckedModel &model, Subject subject)
    : m_model(model)
    , m_subject(std::move(subject))
    , m_record(replyRecord(0, 0, {}))
{
}

void Sweep::pairsWithLine(Depth depth)
{
    for (const Line &line : m_model.rules().lines()) {
        for (const int subCode : line.subCodes) {
            sweepLine(line, subCode, depth);
        }
    }
}

void Sweep::sweepLine(const Line &line, int subCode, Depth depth)
{
    for (const int size : payloadSizes(line)) {
        setPayload(size);
        // Where no length counts, the payload must not either: the limits are enough to see it.
        const bool payloadIsBesideThePoint = size != 0 && !line.looksAt(Field::Len);
        sweepHeads(line, subCode, payloadIsBesideThePoint ? Depth::Limits : depth, size);
    }
}

void Sweep::sweepHeads(const Line &line, int subCode, Depth depth, int payload)
{
    const std::set<int> indexes = bytesOf(line, Field::B3, depth, 1);
    for (const auto &[b4, b5] : byte4And5(line, depth)) {
        for (const int index : indexes) {
            put(&line, line.command, subCode, {index, b4, b5, payload});
        }
        if (!agrees()) {
            return;
        }
    }
}

void Sweep::everyDeclaredLength()
{
    constexpr int goodIndex = 0;
    for (const Line &line : m_model.rules().lines()) {
        if (!line.looksAt(Field::Len)) {
            continue;
        }
        for (const int size : payloadSizes(line)) {
            setPayload(size);
            for (const int subCode : line.subCodes) {
                for (int length = 0; length <= highestLength && agrees(); ++length) {
                    put(&line, line.command, subCode, {goodIndex, length % 256, length / 256, size});
                }
            }
        }
    }
}

void Sweep::pairsWithoutLine()
{
    for (const int size : {0, largePayload}) {
        setPayload(size);
        for (int pair = 0; pair <= 0xFFFF && agrees(); ++pair) {
            if (m_model.rules().find(pair / 256, pair % 256) != nullptr) {
                continue;
            }
            for (const int index : {0x00, 0x01, 0x21, 0xFF}) {
                for (const int length : {0x0000, 0x0001, 0x0100, 0xFFFF}) {
                    put(nullptr, pair / 256, pair % 256, {index, length % 256, length / 256, size});
                }
            }
        }
    }
}

void Sweep::put(const Line *line, int command, int subCode, const Wire &wire)
{
    if (!agrees()) {
        return;
    }
    const bool expected = line == nullptr || line->accepts(wire);
    const bool speaks = !expected && m_subject.writesDebugLines && !line->says.empty();
    setHead(m_record, command, subCode, wire);
    ++m_replies;

    if (m_subject.accepts(m_record) != expected) {
        report(line, command, subCode, wire, expected ? "expected accepted" : "expected rejected");
    } else if (DebugLines::count() != (speaks ? 1 : 0)) {
        report(line, command, subCode, wire, "debug lines written: " + std::to_string(DebugLines::count()));
    } else if (speaks && DebugLines::last() != line->says) {
        report(line, command, subCode, wire, "wrong debug line: " + DebugLines::last());
    }
    if (DebugLines::count() != 0) {
        DebugLines::forget();
    }
    if (line != nullptr) {
        Sides &sides = m_sides[line];
        (expected ? sides.accepted : sides.rejected) = true;
    }
}

void Sweep::report(const Line *line, int command, int subCode, const Wire &wire, const std::string &what)
{
    m_disagreement = wireForm(m_model.name, command, subCode, wire, line != nullptr && line->looksAt(Field::Len)) +
                     ": " + what + ", by ";
    m_disagreement += line == nullptr ? "having no line in " + m_model.file
                                      : m_model.file + ':' + std::to_string(line->number) + ": " + line->text;
}

void Sweep::setPayload(int size)
{
    QByteArray &payload = m_payloads[size];
    if (payload.size() != size) {
        payload = QByteArray(size, '\0');
    }
    m_record.baData = payload;
}

std::string Sweep::lineSeenFromOneSideOnly() const
{
    for (const Line &line : m_model.rules().lines()) {
        const auto seen = m_sides.find(&line);
        if (seen == m_sides.end() || !seen->second.accepted || !seen->second.rejected) {
            return m_model.file + ':' + std::to_string(line.number) + ": " + line.text;
        }
    }
    return {};
}
