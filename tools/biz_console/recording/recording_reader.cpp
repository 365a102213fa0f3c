#include <biz_console/recording/recording_reader.h>

#include <algorithm>

#include <QtCore/QCryptographicHash>

#include <biz_console/verdict/run_problem.h>
#include <common/errors.h>
#include <common/files/input_file.h>
#include <common/hex.h>
#include <host/osd_datagram_codec.h>
#include <model/model_protocoldata.h>
#include <recording/recording_file.h>
#include <recording/recording_format.h>
#include <recording/recording_head.h>

namespace biz::console {

namespace recorded = tools::recorded;
using tools::RecordingLine;

namespace {

constexpr int deviceHeadSize = sizeof(model_Protocoldata::ucHead);
constexpr int osdHeadSize = sizeof(model_OsdParam::ucOsdHead);

/** A payload in words: long ones by their size and what tells them from others. */
QString payloadText(const QByteArray &payload)
{
    constexpr int shownBytes = 16;
    constexpr int shownDigits = 8;
    if (payload.isEmpty()) {
        return QStringLiteral("no payload");
    }
    if (payload.size() <= shownBytes) {
        return QStringLiteral("payload ") + tools::hexText(payload);
    }
    const QByteArray hash = QCryptographicHash::hash(payload, QCryptographicHash::Sha1).toHex().left(shownDigits);
    return QStringLiteral("payload of %1 bytes (SHA-1 %2...)").arg(QString::number(payload.size()), QString(hash));
}

/** Whether a stop meets a command before or after it was taken is up to the threads. */
QString attemptsText(host::Outcome outcome, int attempts)
{
    if (outcome == host::Outcome::Stopped) {
        return {};
    }
    return attempts == 1 ? QStringLiteral(" after 1 attempt") : QStringLiteral(" after %1 attempts").arg(attempts);
}

/** As given events have it; one that is not there is that of a session that says nothing. */
Expectation expectationOf(const RecordingLine &line)
{
    constexpr char name[] = "expect";
    Expectation expected;
    if (!line.has(name)) {
        return expected;
    }
    if (!host::outcomeFromName(line.value(name).member(QStringLiteral("outcome")).text, &expected.outcome)) {
        line.failAt(name, QStringLiteral("an object with an outcome"));
    }
    for (const tools::JsonValue &event : line.value(name).member(QStringLiteral("events")).elements) {
        const std::optional<host::EventKind> kind = expectableFromName(event.text);
        if (!kind) {
            line.failAt(name, QStringLiteral("events of a command"));
        }
        expected.events.add(*kind);
    }
    return expected;
}

} // namespace

RecordingReader::Reader RecordingReader::readerOf(const QString &event)
{
    static const QHash<QString, Reader> readers{
        {QLatin1String(recorded::linkOpened), &RecordingReader::readLink},
        {QLatin1String(recorded::linkClosed), &RecordingReader::readLink},
        {QLatin1String(recorded::bytesIn), &RecordingReader::readLink},
        {QLatin1String(recorded::bytesOut), &RecordingReader::readBytesOut},
        {QStringLiteral("opened"), &RecordingReader::readOpened},
        {QLatin1String(recorded::linkOpening), &RecordingReader::readLinkOpening},
        {QStringLiteral("linkStateChanged"), &RecordingReader::readLinkState},
        {QStringLiteral("failed"), &RecordingReader::passOver},
        {QStringLiteral("given"), &RecordingReader::readGiven},
        {QStringLiteral("refused"), &RecordingReader::readRefused},
        {QStringLiteral("problem"), &RecordingReader::readProblem},
        {QStringLiteral("summary"), &RecordingReader::readSummary},
        {eventName(host::EventKind::Writing), &RecordingReader::passOver}, // what is sent follows
        {eventName(host::EventKind::Sent), &RecordingReader::readSent},
        {eventName(host::EventKind::Resent), &RecordingReader::readSent},
    };
    host::Outcome outcome{};
    if (host::outcomeFromName(event, &outcome)) {
        return &RecordingReader::readEnd;
    }
    return readers.value(event, expectableFromName(event) ? &RecordingReader::readReply : nullptr);
}

void RecordingReader::read(const QByteArray &json, const QString &name, int lineNumber)
{
    m_lineNumber = lineNumber;
    if (lineNumber == 1) {
        readHead(json, name);
        return;
    }
    const RecordingLine line(json, name, lineNumber);
    const Reader reader = readerOf(line.event());
    if (reader == nullptr) {
        line.fail(QStringLiteral("event: one of a recording expected, not \"%1\"").arg(line.event()));
    }
    if (isOfEarlierPart(line)) {
        return;
    }
    if (m_recording.isPart && m_isOpened && m_lastAtMs == 0.0 && line.has("atMs")) {
        beginPart(line.milliseconds("atMs"));
    }
    (this->*reader)(line);
    if (line.has("atMs") && (!m_recording.isPart || m_isOpened)) {
        m_lastAtMs = line.milliseconds("atMs");
    }
}

/** Replies to commands that had ended before the part began: they are in the bytes, and in no comparison. */
bool RecordingReader::isOfEarlierPart(const RecordingLine &line) const
{
    return m_recording.isPart && line.event() != QLatin1String("given") && line.has("ticket") &&
           !m_placeOfTicket.contains(line.number("ticket"));
}

/** The time before a part is not waited for once more. */
void RecordingReader::beginPart(double atMs)
{
    m_beginMs = atMs;
    for (Anchor &anchor : m_anchors) {
        anchor.atMs = atMs;
    }
}

RecordingReader::Anchor &RecordingReader::anchorOf(const RecordingLine &line)
{
    const QString key = keyOf(line);
    if (!m_anchors.contains(key)) {
        m_anchors.insert(key, {0, 0, 0, m_beginMs});
    }
    return m_anchors[key];
}

void RecordingReader::readHead(const QByteArray &json, const QString &name)
{
    const tools::RecordingHead head = tools::readRecordingHead(json, name);
    if (head.isAmidCommands) {
        throw tools::InputError(QStringLiteral("%1:1: this part of a run begins while replies were awaited, and cannot "
                                               "be replayed; 'biz_console show' prints it")
                                    .arg(name));
    }
    m_recording.isOfDevice = head.isOfDevice;
    m_recording.link = head.link;
    m_recording.utc = head.utc;
    m_recording.isPart = head.isPart;
    m_recording.deviceType = head.deviceType;
    m_recording.isPipelined = head.isPipelined;
    m_recording.reconnects = head.reconnects;
}

void RecordingReader::readGiven(const RecordingLine &line)
{
    RecordedCommand command;
    const QString which = line.text("which", {});
    const QString name = line.text("name", {});
    command.line = m_lineNumber;
    command.name = which.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, which);
    command.head = line.bytesOfSize("head", m_recording.isOfDevice ? deviceHeadSize : osdHeadSize);
    command.data = line.bytes("data");
    command.waitMs = line.number("waitMs");
    command.expected = expectationOf(line);
    if (!m_recording.isOfDevice) {
        command.device = line.text("device");
        command.text = line.text("text", {});
        command.flag = line.number("flag");
    }
    command.turn = m_turn;
    // Those before the opening are given at once, since it may fail; and the first ones of a part, long before it.
    if (m_isOpened && !m_recording.isPart) {
        command.turn.delayMs = std::max(0.0, line.milliseconds("atMs") - m_lastEndMs);
    }
    anchorOf(line);
    m_placeOfTicket.insert(line.number("ticket"), static_cast<int>(m_recording.commands.size()));
    m_recording.commands.append(command);
}

/** The command that a line is about; null when it is about none. */
RecordedCommand *RecordingReader::commandOf(const RecordingLine &line)
{
    if (!line.has("ticket")) {
        return nullptr;
    }
    const int place = m_placeOfTicket.value(line.number("ticket"), -1);
    if (place < 0) {
        line.fail(QStringLiteral("ticket: that of a command given before expected, not %1").arg(line.number("ticket")));
    }
    return &m_recording.commands[place];
}

/** The record of a line in words. */
QString RecordingReader::recordText(const RecordingLine &line) const
{
    QString text = QStringLiteral("%1, %2").arg(tools::hexText(line.bytes("head")), payloadText(line.bytes("data")));
    if (!m_recording.isOfDevice) {
        text += QStringLiteral(", flag %1").arg(line.number("flag", 0));
    }
    return text;
}

void RecordingReader::readSent(const RecordingLine &line)
{
    RecordedCommand *command = commandOf(line);
    if (command == nullptr) {
        line.fail(QStringLiteral("ticket: that of the command sent expected"));
    }
    command->happenings.append(QStringLiteral("%1: %2").arg(line.event(), recordText(line)));
    if (m_recording.isOfDevice && !m_hasSent) {
        m_hasSent = true;
        m_recording.firstSequence = line.number("sequence", 1);
    }
    if (!m_recording.isOfDevice) {
        Anchor &anchor = anchorOf(line);
        ++anchor.writes;
        anchor.atMs = line.milliseconds("atMs");
    }
}

/** A reply that was not the answer: rejected, late, duplicate or foreign. */
void RecordingReader::readReply(const RecordingLine &line)
{
    const QString why = line.has("broken") ? QStringLiteral(", ") + line.text("broken") : QString();
    const QString text = QStringLiteral("%1: %2%3").arg(line.event(), recordText(line), why);
    RecordedCommand *command = commandOf(line);
    if (command != nullptr) {
        command->happenings.append(text);
    } else {
        m_recording.strays.append(text);
    }
    addDatagram(line, line.milliseconds("atMs"));
}

void RecordingReader::readEnd(const RecordingLine &line)
{
    RecordedCommand *command = commandOf(line);
    const bool isPending = command != nullptr && !command->hasEnded;
    host::Outcome outcome{};
    if (!isPending || !host::outcomeFromName(line.event(), &outcome)) {
        line.fail(QStringLiteral("ticket: that of a command that has not ended expected"));
    }
    const bool isAnswered = outcome == host::Outcome::Answered;
    command->hasEnded = true;
    command->happenings.append(line.event() + attemptsText(outcome, line.number("attempts")) +
                               (isAnswered ? QStringLiteral(": ") + recordText(line) : QString()));
    Anchor &anchor = anchorOf(line);
    // An endless run that is ended by its user tells no problem: commands end as stopped.
    if (outcome == host::Outcome::Stopped && !m_isBrokenOff) {
        breakOff(line);
    }
    if (isAnswered) {
        addDatagram(line, anchor.atMs + line.milliseconds("roundTripMs"));
    }
    ++anchor.ends;
    anchor.atMs = line.milliseconds("atMs");
    ++m_turn.endsBefore;
    m_lastEndMs = anchor.atMs;
}

void RecordingReader::readRefused(const RecordingLine &line)
{
    // What a refused datagram held is not in the events of the OSD channel: nothing can be played.
    if (m_recording.isOfDevice) {
        m_recording.strays.append(
            QStringLiteral("refused: %1 bytes, %2").arg(QString::number(line.number("bytes")), line.text("reason")));
    }
}

void RecordingReader::readProblem(const RecordingLine &line)
{
    const QString problem = line.text("problem");
    const bool endsByItself = problem == problemName(RunProblem::LinkFailed); // the link fails again
    if (!endsByItself && problem != problemName(RunProblem::SlowStop) && !m_isBrokenOff) {
        breakOff(line);
    }
    m_isBrokenOff = true;
}

void RecordingReader::readLink(const RecordingLine &line)
{
    RecordedStep::Kind kind = RecordedStep::Kind::Received;
    if (line.event() == QLatin1String(recorded::linkOpened)) {
        kind = RecordedStep::Kind::Opened;
    } else if (line.event() == QLatin1String(recorded::linkClosed)) {
        kind = RecordedStep::Kind::Closed;
    }
    addStep(kind, line, line.milliseconds("atMs"));
    m_recording.steps.last().bytes = line.bytes("data");
    m_recording.steps.last().reason = line.text("reason", {});
    m_isLinkUp = kind == RecordedStep::Kind::Opened || (m_isLinkUp && kind != RecordedStep::Kind::Closed);
}

void RecordingReader::readLinkOpening(const RecordingLine &line)
{
    Anchor &anchor = anchorOf(line);
    ++anchor.reopenings;
    anchor.atMs = line.milliseconds("atMs");
}

/** A link whose device had fallen silent was closed by the host itself: the replay closes it in the device's place. */
void RecordingReader::readLinkState(const RecordingLine &line)
{
    const QString state = line.text("state");
    m_isLinkLost = state == host::linkStateName(host::LinkState::Lost);
    if (m_isLinkLost && m_isLinkUp) {
        addStep(RecordedStep::Kind::Closed, line, line.milliseconds("atMs"));
        m_recording.steps.last().reason = line.text("reason", {});
        m_isLinkUp = false;
    }
}

void RecordingReader::readBytesOut(const RecordingLine &line)
{
    Anchor &anchor = anchorOf(line);
    ++anchor.writes;
    anchor.atMs = line.milliseconds("atMs");
    m_recording.writes.append(line.bytes("data"));
}

void RecordingReader::readSummary(const RecordingLine &line)
{
    for (const RecordedCommand &command : qAsConst(m_recording.commands)) {
        if (!command.hasEnded) {
            line.fail(
                QStringLiteral("the end of the command of line %1 expected before the summary").arg(command.line));
        }
    }
    m_hasSummary = true;
}

/** Whoever watched the run ended it here. */
void RecordingReader::breakOff(const RecordingLine &line)
{
    m_isBrokenOff = true;
    addInterruption(line.milliseconds("atMs"));
    // A link that the run itself closes in the end was not closed by its device, and is not lost.
    const auto last = static_cast<int>(m_recording.steps.size()) - 1;
    if (!m_isLinkLost && last > 0 && m_recording.steps.at(last - 1).kind == RecordedStep::Kind::Closed) {
        std::swap(m_recording.steps[last - 1], m_recording.steps[last]);
    }
}

void RecordingReader::addStep(RecordedStep::Kind kind, const RecordingLine &line, double atMs)
{
    const Anchor anchor = anchorOf(line);
    appendStep(kind, keyOf(line), anchor, atMs);
}

void RecordingReader::appendStep(RecordedStep::Kind kind, const QString &device, const Anchor &anchor, double atMs)
{
    RecordedStep step;
    step.kind = kind;
    step.device = device;
    step.writesBefore = anchor.writes;
    step.endsBefore = anchor.ends;
    step.reopeningsBefore = anchor.reopenings;
    step.delayMs = std::max(0.0, atMs - anchor.atMs);
    m_recording.steps.append(step);
}

/** A step of every device: what the run had come to with each of them when it was broken off. */
void RecordingReader::addInterruption(double atMs)
{
    if (m_anchors.isEmpty()) {
        m_anchors.insert({}, {});
    }
    for (auto anchor = m_anchors.constBegin(); anchor != m_anchors.constEnd(); ++anchor) {
        appendStep(RecordedStep::Kind::Interrupted, anchor.key(), anchor.value(), atMs);
    }
}

/** On the OSD channel, where a reply is one datagram, its event stands for its bytes. */
void RecordingReader::addDatagram(const RecordingLine &line, double atMs)
{
    if (m_recording.isOfDevice) {
        return;
    }
    model_OsdParam reply;
    const QByteArray head = line.bytesOfSize("head", osdHeadSize);
    std::copy(head.begin(), head.end(), reply.ucOsdHead);
    reply.ucOsdFlag = static_cast<quint8>(line.number("flag"));
    reply.baData = line.bytes("data");
    addStep(RecordedStep::Kind::Received, line, atMs);
    m_recording.steps.last().bytes = host::OsdDatagramCodec::encode(reply);
}

/** Nothing is known of what came behind the cut: the replay ends there too. */
void RecordingReader::cutOff(int lastLine)
{
    // What the library does is a little later in the replay than it was, and all the same the same.
    constexpr double graceMs = 500.0;
    m_recording.cutInLine = lastLine;
    addInterruption(m_lastAtMs + graceMs);
}

Recording RecordingReader::take(int lastLine)
{
    if (!m_hasSummary && !m_isBrokenOff) {
        cutOff(lastLine);
    } else if (!m_hasSummary) {
        m_recording.cutInLine = lastLine;
    }
    return std::move(m_recording);
}

Recording readRecordingFile(const QString &path)
{
    RecordingReader reader;
    const int lastLine =
        tools::readRecordingLines(path, [&reader](const QByteArray &json, const QString &name, int lineNumber) {
            reader.read(json, name, lineNumber);
        });
    return reader.take(lastLine);
}

Recording readRecording(const QByteArray &lines)
{
    RecordingReader reader;
    int number = 0;
    const QList<QByteArray> all = lines.trimmed().split('\n');
    for (const QByteArray &line : all) {
        reader.read(line, QStringLiteral("the replay"), ++number);
    }
    return reader.take(number);
}

} // namespace biz::console
