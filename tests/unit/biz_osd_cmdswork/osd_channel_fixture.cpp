#include "osd_channel_fixture.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <support/held_locks.h>

namespace osd_test {

namespace {

TraceRecorder *activeRecorder = nullptr;

Trace present(const QString &text)
{
    std::size_t commands = 0;
    for (const auto &queue : Channel::queueHexCmd) {
        commands += queue.size();
    }
    std::string locks;
    for (const std::string &name : biz::test::heldOf(biz::test::osdChannelLocks())) {
        locks += name;
    }
    return {text,
            locks,
            static_cast<int>(Channel::m_qsIp.size()),
            static_cast<int>(Channel::queueHexCmd.size()),
            static_cast<int>(commands),
            static_cast<int>(Channel::m_bRetFlag.size())};
}

void recordTrace(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (activeRecorder != nullptr) {
        activeRecorder->write(type == QtDebugMsg ? text : QStringLiteral("not a debug text: ") + text);
    }
}

Tags tagsOf(std::queue<model_OsdParam> queue)
{
    Tags tags;
    for (; !queue.empty(); queue.pop()) {
        tags.push_back(queue.front().nTag);
    }
    return tags;
}

} // namespace

model_OsdParam record(const QString &ip, quint32 tag, qint32 waitTime)
{
    model_OsdParam made;
    made.qsIp = ip;
    made.nTag = tag;
    made.iWaitTime = waitTime;
    return made;
}

model_OsdParam fullRecord(const QString &ip)
{
    model_OsdParam made = record(ip, 0xDEADBEEF, -123456);
    unsigned char next = 0xF5;
    for (unsigned char &byte : made.ucOsdHead) {
        byte = next++;
    }
    made.ucOsdFlag = 0xA7;
    made.qsOsdText = QStringLiteral("line 1\n\u00e9\u4e2d");
    made.baData = QByteArray("\x00\xff\x01 payload", 11);
    return made;
}

bool operator==(const model_OsdParam &left, const model_OsdParam &right)
{
    return std::equal(std::begin(left.ucOsdHead), std::end(left.ucOsdHead), std::begin(right.ucOsdHead)) &&
           left.qsIp == right.qsIp && left.ucOsdFlag == right.ucOsdFlag && left.iWaitTime == right.iWaitTime &&
           left.qsOsdText == right.qsOsdText && left.baData == right.baData && left.nTag == right.nTag;
}

bool Trace::operator==(const Trace &other) const
{
    return text == other.text && locksHeld == other.locksHeld && devices == other.devices && queues == other.queues &&
           commands == other.commands && flags == other.flags;
}

std::ostream &operator<<(std::ostream &out, const Trace &trace)
{
    return out << '"' << trace.text.toStdString() << "\" holding \"" << trace.locksHeld << "\", devices "
               << trace.devices << ", queues " << trace.queues << ", commands " << trace.commands << ", flags "
               << trace.flags;
}

TraceRecorder::TraceRecorder(std::function<void()> whenWrittenFunction)
    : whenWritten(std::move(whenWrittenFunction))
{
    activeRecorder = this;
}

TraceRecorder::~TraceRecorder()
{
    activeRecorder = nullptr;
}

QStringList TraceRecorder::texts() const
{
    QStringList all;
    for (const Trace &trace : traces) {
        all.append(trace.text);
    }
    return all;
}

void TraceRecorder::write(const QString &text)
{
    traces.push_back(present(text));
    if (whenWritten) {
        whenWritten();
    }
}

OsdChannel::OsdChannel()
    : previousHandler(qInstallMessageHandler(recordTrace))
{
}

OsdChannel::~OsdChannel()
{
    qInstallMessageHandler(previousHandler);
}

void OsdChannel::enqueue(TagsOfDevices commands)
{
    for (const auto &[ip, tag] : commands) {
        Channel::addToSendQueue(record(ip, tag));
    }
}

void OsdChannel::receive(TagsOfDevices replies)
{
    for (const auto &[ip, tag] : replies) {
        Channel::addToReceiveQueue(record(ip, tag));
    }
}

Tags OsdChannel::waitingTags(int slot)
{
    return tagsOf(Channel::queueHexCmd.at(slot));
}

Tags OsdChannel::replyTags()
{
    return tagsOf(Channel::receivequeueHexCmd);
}

} // namespace osd_test
