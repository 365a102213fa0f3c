#include <recording/recorded_devices.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include <common/errors.h>
#include <host/vocabulary.h>
#include <recording/recording_file.h>
#include <recording/recording_head.h>

namespace biz::tools {

namespace {

constexpr int deviceHeadSize = sizeof(model_Protocoldata::ucHead);
constexpr int osdHeadSize = sizeof(model_OsdParam::ucOsdHead);

QByteArray keyOf(const QByteArray &deviceHead, const QByteArray &data)
{
    return deviceHead.mid(1) + data;
}

QByteArray keyOf(const QByteArray &osdHead, quint8 flag, const QByteArray &data)
{
    return osdHead + static_cast<char>(flag) + data;
}

template<std::size_t size>
QByteArray bytesOf(const uchar (&head)[size])
{
    return {reinterpret_cast<const char *>(head), static_cast<int>(size)};
}

bool isCopy(host::EventKind kind)
{
    return kind == host::EventKind::Sent || kind == host::EventKind::Resent;
}

bool isReply(host::EventKind kind)
{
    constexpr std::array<host::EventKind, 5> replies{host::EventKind::Answered, host::EventKind::Rejected,
                                                     host::EventKind::Late, host::EventKind::Duplicate,
                                                     host::EventKind::Foreign};
    return std::find(replies.begin(), replies.end(), kind) != replies.end();
}

/** Puts each reply to the copy of a command that it followed. */
class DevicesReader
{
public:
    void read(const QByteArray &json, const QString &name, int lineNumber)
    {
        if (lineNumber == 1) {
            const RecordingHead head = readRecordingHead(json, name);
            m_result.isOfDevice = head.isOfDevice;
            m_result.deviceType = head.deviceType;
            return;
        }
        const RecordingLine line(json, name, lineNumber);
        const auto kind = host::eventFromName(line.event());
        if (!kind) {
            return; // what the link did
        }
        if (isCopy(*kind)) {
            readCopy(line);
        } else if (isReply(*kind)) {
            readReply(line, *kind);
        }
    }

    RecordedDevices take() { return std::move(m_result); }

private:
    /** A copy of a command that was written. */
    struct Copy
    {
        int device = 0;
        QByteArray key;
        int place = 0; ///< among the copies with this key
        double atMs = 0.0;
        quint8 sequence = 0;
    };

    int deviceOf(const RecordingLine &line)
    {
        const QString address = line.text("device", {});
        for (int i = 0; i < m_result.devices.size(); ++i) {
            if (m_result.devices.at(i).address == address) {
                return i;
            }
        }
        m_result.devices.append({address, {}});
        return static_cast<int>(m_result.devices.size()) - 1;
    }

    QByteArray headOf(const RecordingLine &line) const
    {
        return line.bytesOfSize("head", m_result.isOfDevice ? deviceHeadSize : osdHeadSize);
    }

    static quint8 flagOf(const RecordingLine &line) { return static_cast<quint8>(line.number("flag", 0)); }

    void readCopy(const RecordingLine &line)
    {
        const QByteArray head = headOf(line);
        Copy copy;
        copy.device = deviceOf(line);
        copy.key =
            m_result.isOfDevice ? keyOf(head, line.bytes("data")) : keyOf(head, flagOf(line), line.bytes("data"));
        copy.atMs = line.milliseconds("atMs");
        copy.sequence = static_cast<quint8>(head.at(0));
        QVector<RecordedAnswer> &answers = m_result.devices[copy.device].answers[copy.key];
        copy.place = static_cast<int>(answers.size());
        answers.append(RecordedAnswer());
        m_ofTicket.insert(line.number("ticket"), copy);
        m_latest.insert(copy.device, copy);
    }

    void readReply(const RecordingLine &line, host::EventKind kind)
    {
        const int device = deviceOf(line);
        const bool isKnown = line.has("ticket") && m_ofTicket.contains(line.number("ticket"));
        if (!isKnown && !m_latest.contains(device)) {
            return; // nothing that it could follow was sent
        }
        const Copy copy = isKnown ? m_ofTicket.value(line.number("ticket")) : m_latest.value(device);
        RecordedReply reply;
        reply.head = headOf(line);
        reply.data = line.bytes("data");
        reply.flag = flagOf(line);
        reply.sequenceOffset = static_cast<quint8>(static_cast<quint8>(reply.head.at(0)) - copy.sequence);
        // The end of a command is a little later than its reply.
        const double delayMs = kind == host::EventKind::Answered ? line.milliseconds("roundTripMs")
                                                                 : line.milliseconds("atMs") - copy.atMs;
        reply.delayMs = static_cast<int>(std::lround(std::max(0.0, delayMs)));
        m_result.devices[copy.device].answers[copy.key][copy.place].append(reply);
    }

    RecordedDevices m_result;
    QHash<int, Copy> m_ofTicket; ///< the last one
    QHash<int, Copy> m_latest;   ///< of each device
};

} // namespace

QByteArray recordedKey(const model_Protocoldata &command)
{
    return keyOf(bytesOf(command.ucHead), command.baData);
}

QByteArray recordedKey(const model_OsdParam &command)
{
    return keyOf(bytesOf(command.ucOsdHead), command.ucOsdFlag, command.baData);
}

RecordedDevices readRecordedDevices(const QString &path)
{
    DevicesReader reader;
    readRecordingLines(path, [&reader](const QByteArray &json, const QString &name, int lineNumber) {
        reader.read(json, name, lineNumber);
    });
    RecordedDevices devices = reader.take();
    if (devices.devices.isEmpty()) {
        throw InputError(path, QStringLiteral("a recording in which a command was sent expected"));
    }
    return devices;
}

} // namespace biz::tools
