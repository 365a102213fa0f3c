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

BIZ_HAS_TYPE(CommandEvent::atMs, double);
BIZ_HAS_TYPE(CommandEvent::text, QString);
static_assert(std::is_standard_layout<CommandEvent>::value, "the places below need it");
BIZ_LIES_AT(CommandEvent, atMs, 0);
BIZ_LIES_AT(CommandEvent, text, 8);
BIZ_HAS_SIZE(CommandEvent, 16, 32);

BIZ_HAS_TYPE(CommandResult::outcome, Outcome);
BIZ_HAS_TYPE(CommandResult::attempts, int);
BIZ_HAS_TYPE(CommandResult::reply, model_Protocoldata);
BIZ_HAS_TYPE(CommandResult::roundTripMs, double);
BIZ_HAS_TYPE(CommandResult::reason, QString);
BIZ_HAS_TYPE(CommandResult::supersededBy, Ticket);
BIZ_HAS_TYPE(CommandResult::history, QVector<CommandEvent>);
static_assert(std::is_standard_layout<CommandResult>::value, "the places below need it");
BIZ_LIES_AT(CommandResult, outcome, 0);
BIZ_LIES_AT(CommandResult, attempts, 4);
BIZ_LIES_AT(CommandResult, reply, 8);
BIZ_LIES_AT(CommandResult, roundTripMs, 88, 152);
BIZ_LIES_AT(CommandResult, reason, 96, 160);
BIZ_LIES_AT(CommandResult, supersededBy, 104, 184);
BIZ_LIES_AT(CommandResult, history, 112, 192);
BIZ_HAS_SIZE(CommandResult, 120, 216);

BIZ_HAS_TYPE(OsdCommandResult::outcome, Outcome);
BIZ_HAS_TYPE(OsdCommandResult::ip, QString);
BIZ_HAS_TYPE(OsdCommandResult::attempts, int);
BIZ_HAS_TYPE(OsdCommandResult::reply, model_OsdParam);
BIZ_HAS_TYPE(OsdCommandResult::roundTripMs, double);
BIZ_HAS_TYPE(OsdCommandResult::reason, QString);
BIZ_HAS_TYPE(OsdCommandResult::supersededBy, Ticket);
BIZ_HAS_TYPE(OsdCommandResult::history, QVector<CommandEvent>);
static_assert(std::is_standard_layout<OsdCommandResult>::value, "the places below need it");
BIZ_LIES_AT(OsdCommandResult, outcome, 0);
BIZ_LIES_AT(OsdCommandResult, ip, 8);
BIZ_LIES_AT(OsdCommandResult, attempts, 16, 32);
BIZ_LIES_AT(OsdCommandResult, reply, 24, 40);
BIZ_LIES_AT(OsdCommandResult, roundTripMs, 80, 144);
BIZ_LIES_AT(OsdCommandResult, reason, 88, 152);
BIZ_LIES_AT(OsdCommandResult, supersededBy, 96, 176);
BIZ_LIES_AT(OsdCommandResult, history, 104, 184);
BIZ_HAS_SIZE(OsdCommandResult, 112, 208);

BIZ_HAS_TYPE(StopReport::pending, int);
BIZ_HAS_TYPE(StopReport::slowSteps, QStringList);
static_assert(std::is_standard_layout<StopReport>::value, "the places below need it");
BIZ_LIES_AT(StopReport, pending, 0);
BIZ_LIES_AT(StopReport, slowSteps, 8);
BIZ_HAS_SIZE(StopReport, 16, 32);

BIZ_HAS_TYPE(CommandOptions::validFor, std::chrono::milliseconds);
BIZ_HAS_TYPE(CommandOptions::replaceKey, QString);
BIZ_HAS_TYPE(CommandOptions::urgent, bool);
BIZ_HAS_TYPE(CommandOptions::id, QString);
static_assert(std::is_standard_layout<CommandOptions>::value, "the places below need it");
BIZ_LIES_AT(CommandOptions, validFor, 0);
BIZ_LIES_AT(CommandOptions, replaceKey, 8);
BIZ_LIES_AT(CommandOptions, urgent, 16, 32);
BIZ_LIES_AT(CommandOptions, id, 24, 40);
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

BIZ_HAS_TYPE(LinkStatus::state, LinkState);
BIZ_HAS_TYPE(LinkStatus::since, QDateTime);
BIZ_HAS_TYPE(LinkStatus::attempts, int);
BIZ_HAS_TYPE(LinkStatus::error, Error);
BIZ_HAS_TYPE(LinkStatus::reason, QString);
static_assert(std::is_standard_layout<LinkStatus>::value, "the places below need it");
BIZ_LIES_AT(LinkStatus, state, 0);
BIZ_LIES_AT(LinkStatus, since, 8);
BIZ_LIES_AT(LinkStatus, attempts, 16);
BIZ_LIES_AT(LinkStatus, error, 20);
BIZ_LIES_AT(LinkStatus, reason, 24);
BIZ_HAS_SIZE(LinkStatus, 32, 48);

BIZ_HAS_TYPE(Counters::enqueued, quint64);
BIZ_HAS_TYPE(Counters::sent, quint64);
BIZ_HAS_TYPE(Counters::resent, quint64);
BIZ_HAS_TYPE(Counters::answered, quint64);
BIZ_HAS_TYPE(Counters::gaveUp, quint64);
BIZ_HAS_TYPE(Counters::cleared, quint64);
BIZ_HAS_TYPE(Counters::skipped, quint64);
BIZ_HAS_TYPE(Counters::stopped, quint64);
BIZ_HAS_TYPE(Counters::released, quint64);
BIZ_HAS_TYPE(Counters::expired, quint64);
BIZ_HAS_TYPE(Counters::superseded, quint64);
BIZ_HAS_TYPE(Counters::cancelled, quint64);
BIZ_HAS_TYPE(Counters::unreachable, quint64);
BIZ_HAS_TYPE(Counters::interrupted, quint64);
BIZ_HAS_TYPE(Counters::rejected, quint64);
BIZ_HAS_TYPE(Counters::late, quint64);
BIZ_HAS_TYPE(Counters::duplicate, quint64);
BIZ_HAS_TYPE(Counters::foreign, quint64);
BIZ_HAS_TYPE(Counters::dropped, quint64);
BIZ_HAS_TYPE(Counters::overflowed, quint64);
BIZ_HAS_TYPE(Counters::refusedBytes, quint64);
BIZ_HAS_TYPE(Counters::refusedFrames, quint64);
BIZ_HAS_TYPE(Counters::bytesOut, quint64);
BIZ_HAS_TYPE(Counters::bytesIn, quint64);
BIZ_HAS_TYPE(Counters::rejectedByRule, QMap<QString, quint64>);
BIZ_HAS_TYPE(Counters::queueLength, int);
BIZ_HAS_TYPE(Counters::queueLengthMax, int);
BIZ_HAS_TYPE(Counters::lastSeenUtcMs, qint64);
BIZ_HAS_TYPE(Counters::roundTripMinMs, double);
BIZ_HAS_TYPE(Counters::roundTripMedianMs, double);
BIZ_HAS_TYPE(Counters::roundTripP99Ms, double);
BIZ_HAS_TYPE(Counters::roundTripMaxMs, double);
BIZ_HAS_TYPE(Counters::roundTrips, RoundTrips);
static_assert(std::is_standard_layout<Counters>::value, "the places below need it");
BIZ_LIES_AT(Counters, enqueued, 0);
BIZ_LIES_AT(Counters, sent, 8);
BIZ_LIES_AT(Counters, resent, 16);
BIZ_LIES_AT(Counters, answered, 24);
BIZ_LIES_AT(Counters, gaveUp, 32);
BIZ_LIES_AT(Counters, cleared, 40);
BIZ_LIES_AT(Counters, skipped, 48);
BIZ_LIES_AT(Counters, stopped, 56);
BIZ_LIES_AT(Counters, released, 64);
BIZ_LIES_AT(Counters, expired, 72);
BIZ_LIES_AT(Counters, superseded, 80);
BIZ_LIES_AT(Counters, cancelled, 88);
BIZ_LIES_AT(Counters, unreachable, 96);
BIZ_LIES_AT(Counters, interrupted, 104);
BIZ_LIES_AT(Counters, rejected, 112);
BIZ_LIES_AT(Counters, late, 120);
BIZ_LIES_AT(Counters, duplicate, 128);
BIZ_LIES_AT(Counters, foreign, 136);
BIZ_LIES_AT(Counters, dropped, 144);
BIZ_LIES_AT(Counters, overflowed, 152);
BIZ_LIES_AT(Counters, refusedBytes, 160);
BIZ_LIES_AT(Counters, refusedFrames, 168);
BIZ_LIES_AT(Counters, bytesOut, 176);
BIZ_LIES_AT(Counters, bytesIn, 184);
BIZ_LIES_AT(Counters, rejectedByRule, 192);
BIZ_LIES_AT(Counters, queueLength, 200);
BIZ_LIES_AT(Counters, queueLengthMax, 204);
BIZ_LIES_AT(Counters, lastSeenUtcMs, 208);
BIZ_LIES_AT(Counters, roundTripMinMs, 216);
BIZ_LIES_AT(Counters, roundTripMedianMs, 224);
BIZ_LIES_AT(Counters, roundTripP99Ms, 232);
BIZ_LIES_AT(Counters, roundTripMaxMs, 240);
BIZ_LIES_AT(Counters, roundTrips, 248);
BIZ_HAS_SIZE(Counters, 280, 296);

BIZ_HAS_TYPE(OsdDeviceStatus::ip, QString);
BIZ_HAS_TYPE(OsdDeviceStatus::counters, Counters);
BIZ_HAS_TYPE(OsdDeviceStatus::inFlight, bool);
BIZ_HAS_TYPE(OsdDeviceStatus::reachable, bool);
BIZ_HAS_TYPE(OsdDeviceStatus::silentSinceUtcMs, qint64);
static_assert(std::is_standard_layout<OsdDeviceStatus>::value, "the places below need it");
BIZ_LIES_AT(OsdDeviceStatus, ip, 0);
BIZ_LIES_AT(OsdDeviceStatus, counters, 8, 24);
BIZ_LIES_AT(OsdDeviceStatus, inFlight, 288, 320);
BIZ_LIES_AT(OsdDeviceStatus, reachable, 289, 321);
BIZ_LIES_AT(OsdDeviceStatus, silentSinceUtcMs, 296, 328);
BIZ_HAS_SIZE(OsdDeviceStatus, 304, 336);

BIZ_HAS_TYPE(Refusal::bytes, int);
BIZ_HAS_TYPE(Refusal::reason, QString);
static_assert(std::is_standard_layout<Refusal>::value, "the places below need it");
BIZ_LIES_AT(Refusal, bytes, 0);
BIZ_LIES_AT(Refusal, reason, 8);
BIZ_HAS_SIZE(Refusal, 16, 32);

BIZ_HAS_TYPE(Decoded::records, QVector<model_Protocoldata>);
BIZ_HAS_TYPE(Decoded::refusals, QVector<Refusal>);
static_assert(std::is_standard_layout<Decoded>::value, "the places below need it");
BIZ_LIES_AT(Decoded, records, 0);
BIZ_LIES_AT(Decoded, refusals, 8, 24);
BIZ_HAS_SIZE(Decoded, 16, 48);

BIZ_HAS_TYPE(CheckedModel::deviceType, int);
BIZ_HAS_TYPE(CheckedModel::name, QString);
static_assert(std::is_standard_layout<CheckedModel>::value, "the places below need it");
BIZ_LIES_AT(CheckedModel, deviceType, 0);
BIZ_LIES_AT(CheckedModel, name, 8);
BIZ_HAS_SIZE(CheckedModel, 16, 32);

BIZ_HAS_TYPE(ReplyJudgement::accepted, bool);
BIZ_HAS_TYPE(ReplyJudgement::rule, QString);
BIZ_HAS_TYPE(ReplyJudgement::broken, QString);
BIZ_HAS_TYPE(ReplyJudgement::brokenHeadBytes, QVector<int>);
BIZ_HAS_TYPE(ReplyJudgement::brokenPayload, bool);
static_assert(std::is_standard_layout<ReplyJudgement>::value, "the places below need it");
BIZ_LIES_AT(ReplyJudgement, accepted, 0);
BIZ_LIES_AT(ReplyJudgement, rule, 8);
BIZ_LIES_AT(ReplyJudgement, broken, 16, 32);
BIZ_LIES_AT(ReplyJudgement, brokenHeadBytes, 24, 56);
BIZ_LIES_AT(ReplyJudgement, brokenPayload, 32, 80);
BIZ_HAS_SIZE(ReplyJudgement, 40, 88);

BIZ_HAS_TYPE(DatagramTransport::SendResult::sent, DatagramTransport::Sent);
BIZ_HAS_TYPE(DatagramTransport::SendResult::problem, QString);
static_assert(std::is_standard_layout<DatagramTransport::SendResult>::value, "the places below need it");
BIZ_LIES_AT(DatagramTransport::SendResult, sent, 0);
BIZ_LIES_AT(DatagramTransport::SendResult, problem, 8);
BIZ_HAS_SIZE(DatagramTransport::SendResult, 16, 32);

BIZ_HAS_TYPE(RuleInWords::command, quint8);
BIZ_HAS_TYPE(RuleInWords::subCodes, QString);
BIZ_HAS_TYPE(RuleInWords::rule, QString);
static_assert(std::is_standard_layout<RuleInWords>::value, "the places below need it");
BIZ_LIES_AT(RuleInWords, command, 0);
BIZ_LIES_AT(RuleInWords, subCodes, 8);
BIZ_LIES_AT(RuleInWords, rule, 16, 32);
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
