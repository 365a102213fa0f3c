#ifndef BIZ_TESTS_OSD_CHANNEL_FIXTURE_H
#define BIZ_TESTS_OSD_CHANNEL_FIXTURE_H

#include <functional>
#include <initializer_list>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <support/channel_state_guard.h>

#include <gtest/gtest.h>

namespace osd_test {

using Channel = biz_Osd_CMDSWork;
using Flags = QMap<QString, bool>;
using SendTimes = QMap<QString, quint32>;
using Lines = std::vector<std::string>;
using Tags = std::vector<quint32>;

const QString deviceA = QStringLiteral("10.0.0.1");
const QString deviceB = QStringLiteral("10.0.0.2");
const QString deviceC = QStringLiteral("10.0.0.3");

/** A command to, or a reply from, a device; the tag tells the records of a test apart. */
model_OsdParam record(const QString &ip, quint32 tag = 0, qint32 waitTime = 3000);

/** A record in which no field has its default value. */
model_OsdParam fullRecord(const QString &ip);

bool operator==(const model_OsdParam &left, const model_OsdParam &right);

const std::string noLock;
const std::string hexCmdlock = "HexCmdlock";

/** One debug text, and how the channel stood when it was written. */
struct Trace
{
    QString text;
    std::string locksHeld;
    int devices;
    int queues;
    int commands;
    int flags;
    bool operator==(const Trace &other) const;
};

std::ostream &operator<<(std::ostream &out, const Trace &trace);

/**
 * Collects every text that is written while the recorder exists, and calls `whenWritten`
 * at each. Texts without a recorder are dropped. For one writing thread at a time.
 */
class TraceRecorder
{
public:
    explicit TraceRecorder(std::function<void()> whenWritten = {});
    ~TraceRecorder();
    TraceRecorder(const TraceRecorder &) = delete;
    TraceRecorder &operator=(const TraceRecorder &) = delete;

    std::vector<Trace> traces;
    QStringList texts() const;
    void write(const QString &text);

private:
    std::function<void()> whenWritten;
};

/** The one channel of the process, as a fresh process has it at both ends of each test, and quiet. */
class OsdChannel : public ::testing::Test
{
protected:
    OsdChannel();
    ~OsdChannel() override;

    using TagsOfDevices = std::initializer_list<std::pair<QString, quint32>>;

    /** The host gives these commands, one after the other. */
    static void enqueue(TagsOfDevices commands);

    /** These replies come in, one after the other. */
    static void receive(TagsOfDevices replies);

    static Tags waitingTags(int slot);
    static Tags replyTags();

private:
    biz::test::OsdChannelGuard guard;
    QtMessageHandler previousHandler;
};

} // namespace osd_test

#endif
