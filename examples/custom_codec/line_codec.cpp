#include "line_codec.h"

#include <algorithm>

using namespace biz::host;

namespace {

constexpr int headSize = 7;

/** What no line of a sane device exceeds; a longer one is noise, and memory stays bounded. */
constexpr int longestLine = 4096;

bool isHexadecimal(const QByteArray &line)
{
    return line.size() % 2 == 0 && std::all_of(line.begin(), line.end(),
                                               [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); });
}

void takeLine(const QByteArray &line, Decoded *decoded)
{
    const QByteArray bytes = QByteArray::fromHex(line);
    if (!isHexadecimal(line) || bytes.size() < headSize) {
        decoded->refusals.append({static_cast<int>(line.size()) + 1, QStringLiteral("the line is no record")});
        return;
    }
    model_Protocoldata record;
    std::copy_n(bytes.begin(), headSize, record.ucHead);
    record.baData = bytes.mid(headSize);
    decoded->records.append(record);
}

} // namespace

QByteArray LineCodec::encode(const model_Protocoldata &record) const
{
    const QByteArray head(reinterpret_cast<const char *>(record.ucHead), headSize);
    const QByteArray line = (head + record.baData).toHex().toUpper();
    return line.size() > longestLine ? QByteArray() : line + '\n';
}

Decoded LineCodec::decode(const QByteArray &bytes)
{
    Decoded decoded;
    for (const char byte : bytes) {
        if (byte == '\n') {
            takeLine(m_line, &decoded);
            m_line.clear();
        } else {
            m_line.append(byte);
        }
        if (m_line.size() > longestLine) {
            decoded.refusals.append({static_cast<int>(m_line.size()), QStringLiteral("the line does not end")});
            m_line.clear();
        }
    }
    return decoded;
}

QByteArray greetEachRecord(LineCodec *device, const QByteArray &bytes)
{
    QByteArray answers;
    for (model_Protocoldata &record : device->decode(bytes).records) {
        record.baData = "hello";
        record.ucHead[4] = static_cast<unsigned char>(record.baData.size());
        record.ucHead[5] = 0;
        answers += device->encode(record);
    }
    return answers;
}
