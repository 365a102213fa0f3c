#include <cstring>

#include <gtest/gtest.h>

#include <host/command_options.h>
#include <host/command_result.h>
#include <host/counters.h>
#include <host/datagram_transport.h>
#include <host/device_fleet.h>
#include <host/device_host.h>
#include <host/device_link.h>
#include <host/event.h>
#include <host/event_log.h>
#include <host/event_source.h>
#include <host/frame_codec.h>
#include <host/link_status.h>
#include <host/osd_host.h>
#include <host/reply_matcher.h>
#include <host/reply_words.h>
#include <host/round_trips.h>
#include <host/version.h>
#include <host/vocabulary.h>

#include "same_type.h"
#include "stays_loaded.h"

// What applications that were compiled earlier hold by value or derive from: the structures of the
// host kit, and the places of the virtual functions.

namespace {

using namespace biz::host;

BIZ_HOLDS(CommandEvent, atMs, (0), double);
BIZ_HOLDS(CommandEvent, text, (8), QString);
BIZ_HAS_SIZE(CommandEvent, 16, 32);

BIZ_HOLDS(CommandResult, outcome, (0), Outcome);
BIZ_HOLDS(CommandResult, attempts, (4), int);
BIZ_HOLDS(CommandResult, reply, (8), model_Protocoldata);
BIZ_HOLDS(CommandResult, roundTripMs, (88, 152), double);
BIZ_HOLDS(CommandResult, reason, (96, 160), QString);
BIZ_HOLDS(CommandResult, supersededBy, (104, 184), Ticket);
BIZ_HOLDS(CommandResult, history, (112, 192), QVector<CommandEvent>);
BIZ_HAS_SIZE(CommandResult, 120, 216);

BIZ_HOLDS(OsdCommandResult, outcome, (0), Outcome);
BIZ_HOLDS(OsdCommandResult, ip, (8), QString);
BIZ_HOLDS(OsdCommandResult, attempts, (16, 32), int);
BIZ_HOLDS(OsdCommandResult, reply, (24, 40), model_OsdParam);
BIZ_HOLDS(OsdCommandResult, roundTripMs, (80, 144), double);
BIZ_HOLDS(OsdCommandResult, reason, (88, 152), QString);
BIZ_HOLDS(OsdCommandResult, supersededBy, (96, 176), Ticket);
BIZ_HOLDS(OsdCommandResult, history, (104, 184), QVector<CommandEvent>);
BIZ_HAS_SIZE(OsdCommandResult, 112, 208);

BIZ_HOLDS(StopReport, pending, (0), int);
BIZ_HOLDS(StopReport, slowSteps, (8), QStringList);
BIZ_HAS_SIZE(StopReport, 16, 32);

BIZ_HOLDS(CommandOptions, validFor, (0), std::chrono::milliseconds);
BIZ_HOLDS(CommandOptions, replaceKey, (8), QString);
BIZ_HOLDS(CommandOptions, urgent, (16, 32), bool);
BIZ_HOLDS(CommandOptions, id, (24, 40), QString);
BIZ_HAS_SIZE(CommandOptions, 32, 64);

BIZ_HAS_TYPE(DeviceSettings::link, QUrl);
BIZ_HAS_TYPE(DeviceSettings::model, QString);
BIZ_HAS_TYPE(DeviceSettings::defaultWaitMs, int);
BIZ_HAS_TYPE(DeviceSettings::settleMs, int);
BIZ_HAS_TYPE(DeviceSettings::pipelined, bool);
BIZ_HAS_TYPE(DeviceSettings::whileDown, WhileDown);
BIZ_HAS_TYPE(DeviceSettings::program, QString);
BIZ_HAS_TYPE(DeviceSettings::arguments, QStringList);
BIZ_HAS_TYPE(DeviceSettings::heartbeatMs, int);

BIZ_HOLDS(LinkStatus, state, (0), LinkState);
BIZ_HOLDS(LinkStatus, since, (8), QDateTime);
BIZ_HOLDS(LinkStatus, attempts, (16), int);
BIZ_HOLDS(LinkStatus, error, (20), Error);
BIZ_HOLDS(LinkStatus, reason, (24), QString);
BIZ_HAS_SIZE(LinkStatus, 32, 48);

BIZ_HOLDS(Counters, enqueued, (0), quint64);
BIZ_HOLDS(Counters, sent, (8), quint64);
BIZ_HOLDS(Counters, resent, (16), quint64);
BIZ_HOLDS(Counters, answered, (24), quint64);
BIZ_HOLDS(Counters, gaveUp, (32), quint64);
BIZ_HOLDS(Counters, cleared, (40), quint64);
BIZ_HOLDS(Counters, skipped, (48), quint64);
BIZ_HOLDS(Counters, stopped, (56), quint64);
BIZ_HOLDS(Counters, released, (64), quint64);
BIZ_HOLDS(Counters, expired, (72), quint64);
BIZ_HOLDS(Counters, superseded, (80), quint64);
BIZ_HOLDS(Counters, cancelled, (88), quint64);
BIZ_HOLDS(Counters, unreachable, (96), quint64);
BIZ_HOLDS(Counters, interrupted, (104), quint64);
BIZ_HOLDS(Counters, rejected, (112), quint64);
BIZ_HOLDS(Counters, late, (120), quint64);
BIZ_HOLDS(Counters, duplicate, (128), quint64);
BIZ_HOLDS(Counters, foreign, (136), quint64);
BIZ_HOLDS(Counters, dropped, (144), quint64);
BIZ_HOLDS(Counters, overflowed, (152), quint64);
BIZ_HOLDS(Counters, refusedBytes, (160), quint64);
BIZ_HOLDS(Counters, refusedFrames, (168), quint64);
BIZ_HOLDS(Counters, bytesOut, (176), quint64);
BIZ_HOLDS(Counters, bytesIn, (184), quint64);
BIZ_HOLDS(Counters, rejectedByRule, (192), QMap<QString, quint64>);
BIZ_HOLDS(Counters, queueLength, (200), int);
BIZ_HOLDS(Counters, queueLengthMax, (204), int);
BIZ_HOLDS(Counters, lastSeenUtcMs, (208), qint64);
BIZ_HOLDS(Counters, roundTripMinMs, (216), double);
BIZ_HOLDS(Counters, roundTripMedianMs, (224), double);
BIZ_HOLDS(Counters, roundTripP99Ms, (232), double);
BIZ_HOLDS(Counters, roundTripMaxMs, (240), double);
BIZ_HOLDS(Counters, roundTrips, (248), RoundTrips);
BIZ_HAS_SIZE(Counters, 280, 296);

BIZ_HOLDS(OsdDeviceStatus, ip, (0), QString);
BIZ_HOLDS(OsdDeviceStatus, counters, (8, 24), Counters);
BIZ_HOLDS(OsdDeviceStatus, inFlight, (288, 320), bool);
BIZ_HOLDS(OsdDeviceStatus, reachable, (289, 321), bool);
BIZ_HOLDS(OsdDeviceStatus, silentSinceUtcMs, (296, 328), qint64);
BIZ_HAS_SIZE(OsdDeviceStatus, 304, 336);

BIZ_HOLDS(Refusal, bytes, (0), int);
BIZ_HOLDS(Refusal, reason, (8), QString);
BIZ_HAS_SIZE(Refusal, 16, 32);

BIZ_HOLDS(Decoded, records, (0), QVector<model_Protocoldata>);
BIZ_HOLDS(Decoded, refusals, (8, 24), QVector<Refusal>);
BIZ_HAS_SIZE(Decoded, 16, 48);

BIZ_HOLDS(CheckedModel, deviceType, (0), int);
BIZ_HOLDS(CheckedModel, name, (8), QString);
BIZ_HAS_SIZE(CheckedModel, 16, 32);

BIZ_HOLDS(ReplyJudgement, accepted, (0), bool);
BIZ_HOLDS(ReplyJudgement, rule, (8), QString);
BIZ_HOLDS(ReplyJudgement, broken, (16, 32), QString);
BIZ_HOLDS(ReplyJudgement, brokenHeadBytes, (24, 56), QVector<int>);
BIZ_HOLDS(ReplyJudgement, brokenPayload, (32, 80), bool);
BIZ_HAS_SIZE(ReplyJudgement, 40, 88);

BIZ_HOLDS(DatagramTransport::SendResult, sent, (0), DatagramTransport::Sent);
BIZ_HOLDS(DatagramTransport::SendResult, problem, (8), QString);
BIZ_HAS_SIZE(DatagramTransport::SendResult, 16, 32);

BIZ_HOLDS(RuleInWords, command, (0), quint8);
BIZ_HOLDS(RuleInWords, subCodes, (8), QString);
BIZ_HOLDS(RuleInWords, rule, (16, 32), QString);
BIZ_HAS_SIZE(RuleInWords, 24, 56);

static_assert(sizeof(Outcome) == sizeof(int), "results hold it by value");
static_assert(static_cast<int>(Outcome::Answered) == 0 && static_cast<int>(Outcome::GaveUp) == 1 &&
                  static_cast<int>(Outcome::Cleared) == 2 && static_cast<int>(Outcome::Skipped) == 3 &&
                  static_cast<int>(Outcome::Stopped) == 4 && static_cast<int>(Outcome::Released) == 5 &&
                  static_cast<int>(Outcome::Expired) == 6 && static_cast<int>(Outcome::Superseded) == 7 &&
                  static_cast<int>(Outcome::Cancelled) == 8 && static_cast<int>(Outcome::Unreachable) == 9 &&
                  static_cast<int>(Outcome::Interrupted) == 10,
              "applications hold the numbers");
static_assert(sizeof(Error) == sizeof(int) && sizeof(LinkState) == sizeof(int), "a link's status holds them by value");
static_assert(static_cast<int>(Error::None) == 0 && static_cast<int>(Error::ChannelTaken) == 1 &&
                  static_cast<int>(Error::AlreadyRunning) == 2 && static_cast<int>(Error::NoLink) == 3 &&
                  static_cast<int>(Error::NoCodec) == 4 && static_cast<int>(Error::LoopsStillRunning) == 5 &&
                  static_cast<int>(Error::CannotStartThread) == 6 && static_cast<int>(Error::OutOfRange) == 7 &&
                  static_cast<int>(Error::UnknownModel) == 8 && static_cast<int>(Error::InvalidUrl) == 9 &&
                  static_cast<int>(Error::InvalidAddress) == 10 && static_cast<int>(Error::CannotEncode) == 11 &&
                  static_cast<int>(Error::CannotBind) == 12 && static_cast<int>(Error::LinkCannotOpen) == 13 &&
                  static_cast<int>(Error::LinkClosed) == 14 && static_cast<int>(Error::LinkSilent) == 15 &&
                  static_cast<int>(Error::InvalidName) == 16 && static_cast<int>(Error::NameTaken) == 17 &&
                  static_cast<int>(Error::UnknownDevice) == 18 && static_cast<int>(Error::TooManyPending) == 19 &&
                  static_cast<int>(Error::CannotMakeFolder) == 20 && static_cast<int>(Error::FolderTaken) == 21 &&
                  static_cast<int>(Error::WorkerCannotStart) == 22 && static_cast<int>(Error::WorkerEnded) == 23 &&
                  static_cast<int>(Error::WorkerSilent) == 24 && static_cast<int>(Error::NoContext) == 25,
              "applications hold the numbers");
static_assert(static_cast<int>(LinkState::Closed) == 0 && static_cast<int>(LinkState::Connecting) == 1 &&
                  static_cast<int>(LinkState::Up) == 2 && static_cast<int>(LinkState::Lost) == 3,
              "applications hold the numbers");
static_assert(static_cast<int>(DatagramTransport::Sent::Yes) == 0 &&
                  static_cast<int>(DatagramTransport::Sent::Later) == 1 &&
                  static_cast<int>(DatagramTransport::Sent::No) == 2,
              "applications hold the numbers");
static_assert(static_cast<int>(WhileDown::FailFast) == 0 && static_cast<int>(WhileDown::Hold) == 1,
              "applications hold the numbers");

// What an application derives from has a table of virtual functions and nothing that may grow; its
// hosts and codecs hide their members behind a pointer.
static_assert(sizeof(DeviceLink) == sizeof(QObject), "a link of an application begins with it");
static_assert(sizeof(DatagramTransport) == sizeof(QObject), "a transport of an application begins with it");
static_assert(sizeof(FrameCodec) == sizeof(void *), "a codec of an application begins with it");
static_assert(sizeof(ReplyMatcher) == sizeof(void *), "a matcher of an application begins with it");
static_assert(sizeof(OsdReplyMatcher) == sizeof(void *), "a matcher of an application begins with it");
static_assert(sizeof(DeviceHost) == sizeof(QObject) + sizeof(void *), "an application makes it by value");
static_assert(sizeof(OsdHost) == sizeof(QObject) + sizeof(void *), "an application makes it by value");
static_assert(sizeof(DemoFrameCodec) == 2 * sizeof(void *), "an application makes it by value");
static_assert(sizeof(DemoDatagramCodec) == sizeof(void *), "an application makes it by value");

/** The place of a virtual function in its table, as this platform's compilers keep it in a pointer to it. */
template<typename Function>
std::ptrdiff_t placeOf(Function function)
{
    std::ptrdiff_t bytesAndMark = 0;
    std::memcpy(&bytesAndMark, &function, sizeof bytesAndMark);
    return (bytesAndMark - 1) / static_cast<std::ptrdiff_t>(sizeof(void *));
}

TEST(HostInterface, FunctionsOfALinkStandBehindThoseOfItsBase)
{
    const std::ptrdiff_t first = placeOf(&DeviceLink::open);
    // Behind the twelve of a QObject, its two destructors among them.
    EXPECT_EQ(first, 12);
    EXPECT_EQ(placeOf(&DeviceLink::close), first + 1);
    EXPECT_EQ(placeOf(&DeviceLink::isOpen), first + 2);
    EXPECT_EQ(placeOf(&DeviceLink::write), first + 3);
    EXPECT_EQ(placeOf(&DeviceLink::canWrite), first + 4);
    EXPECT_EQ(placeOf(&DeviceLink::bytesHeld), first + 5);
    EXPECT_EQ(placeOf(&DeviceLink::discard), first + 6);
    EXPECT_EQ(placeOf(&DeviceLink::keepsMessageBoundaries), first + 7);
    EXPECT_EQ(placeOf(&DeviceLink::name), first + 8);
    EXPECT_EQ(placeOf(&DeviceLink::endWriting), first + 9);
}

TEST(HostInterface, FunctionsOfATransportStandBehindThoseOfItsBase)
{
    const std::ptrdiff_t first = placeOf(&DatagramTransport::open);
    EXPECT_EQ(first, 12);
    EXPECT_EQ(placeOf(&DatagramTransport::close), first + 1);
    EXPECT_EQ(placeOf(&DatagramTransport::send), first + 2);
    EXPECT_EQ(placeOf(&DatagramTransport::readPending), first + 3);
    EXPECT_EQ(placeOf(&DatagramTransport::forget), first + 4);
}

TEST(HostInterface, FunctionsOfACodecKeepTheirPlaces)
{
    // Behind the two destructors.
    EXPECT_EQ(placeOf(&FrameCodec::encode), 2);
    EXPECT_EQ(placeOf(&FrameCodec::canEncode), 3);
    EXPECT_EQ(placeOf(&FrameCodec::decode), 4);
    EXPECT_EQ(placeOf(&FrameCodec::reset), 5);
    EXPECT_EQ(placeOf(&FrameCodec::preamble), 6);
}

TEST(HostInterface, FunctionsOfAMatcherKeepTheirPlaces)
{
    EXPECT_EQ(placeOf(&ReplyMatcher::matches), 2);
    EXPECT_EQ(placeOf(&OsdReplyMatcher::matches), 2);
}

TEST(HostInterface, KitStaysLoadedOnceItIs)
{
    ASSERT_FALSE(kitVersion().isEmpty()); // a library that nobody calls is not linked
    EXPECT_TRUE(staysLoaded(BIZ_SONAME));
}

} // namespace
