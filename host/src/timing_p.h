#ifndef BIZ_HOST_TIMING_P_H
#define BIZ_HOST_TIMING_P_H

#include <algorithm>
#include <chrono>

#include <biz_cmdswork/channel_timing_p.h>
#include <biz_osd_cmdswork/osd_channel_timing_p.h>

/** Every time of the host kit. What an application may set stands here with its first value. */
namespace biz::host::timing {

using std::chrono::milliseconds;
using std::chrono::seconds;

// --- Commands ---------------------------------------------------------------------------

/** The wait of a command of the device channel that asks for none: devices answer within a tenth of it. */
constexpr milliseconds deviceDefaultWait{500};

/** The same on the OSD channel, whose waits end up to a second early: the least that leaves a second. */
constexpr milliseconds osdDefaultWait{2000};
static_assert(osdDefaultWait >= milliseconds(2 * osd_timing::millisecondsPerSecond),
              "a wait that began at the end of a second must last another");

// --- Looking for commands that the library has given up, which it tells nobody ---------------

/** How often a gate is looked at while it may be opened by the library: half of a send pass. */
constexpr milliseconds gateLookPeriod{5};
static_assert(gateLookPeriod < biz::timing::sendPassPeriod, "the next command leaves one pass after a give-up");

/** How soon after its announcement, at the earliest, the library gives a resent command up. */
constexpr milliseconds shortestWait(milliseconds wait)
{
    const auto passes = (wait + biz::timing::passCountsAs - milliseconds(1)) / biz::timing::passCountsAs;
    return passes * biz::timing::sendPassPeriod;
}
static_assert(shortestWait(milliseconds(3000)) == milliseconds(2000), "200 passes of 10 ms");

/** How often the devices of the OSD channel are looked at while one of them may have been freed. */
constexpr milliseconds osdLookPeriod{10};

/** For each thousand of them a look pauses for so long: it holds the channel's lock for a thirtieth of that. */
constexpr milliseconds osdLookPeriodPerThousand{10};

/** How soon after its announcement, at the earliest, the library gives a command of the OSD channel up. */
constexpr milliseconds shortestOsdWait(milliseconds wait)
{
    constexpr milliseconds second{osd_timing::millisecondsPerSecond};
    const milliseconds wholeSeconds = wait / second * second;
    return wholeSeconds > second ? wholeSeconds - second : milliseconds(0);
}

/** How long after its announcement, at the latest, the library gives it up, unless the wall clock was set back. */
constexpr milliseconds longestOsdWait(milliseconds wait)
{
    return std::max(wait, milliseconds(0)) + 2 * osd_timing::timeoutPassPeriod;
}

/** How often all busy devices of the OSD channel are looked at: a wall clock that was set frees them early. */
constexpr milliseconds osdFullLookPeriod{250};

// --- Sending to OSD devices ---------------------------------------------------------------------

/** How soon a datagram is tried again that the system had no memory for: it tells nobody when it has. */
constexpr milliseconds fullSystemRetryPeriod{5};

// --- Writes that the application holds back -----------------------------------------------------

/** From one question whether a device may be written to again to the next: as often as the library looks for work. */
constexpr milliseconds heldBackAskPeriod = biz::timing::sendPassPeriod;

// --- Ends ----------------------------------------------------------------------------------

/** How long a start waits for the loops of a former run, whose stop did not. */
constexpr milliseconds loopReturnGrace{100};
static_assert(loopReturnGrace > biz::timing::sendPassPeriod + biz::timing::resendDelay,
              "a loop that is in a resend must be able to return");

/** How long the destructor of a host waits for its loops. */
constexpr milliseconds destructionDeadline{2000};
static_assert(destructionDeadline > 10 * (biz::timing::sendPassPeriod + biz::timing::resendDelay),
              "a loop that is in a resend must be able to return");

/** How long the end of the process waits for loops that still run. */
constexpr milliseconds processEndGrace{100};
static_assert(processEndGrace > biz::timing::sendPassPeriod + biz::timing::resendDelay,
              "a loop that is in a resend must be able to return");

// --- Connecting and reconnecting ---------------------------------------------------------

/** From one attempt to open a link to the next: soon enough for an operator, rare enough for a device that starts. */
constexpr milliseconds reconnectInterval{1000};

/** Up to this share of the interval more or less, so that hosts that lost their devices together do not return as one.
 */
constexpr int reconnectJitterPercent = 10;

/** An attempt over TCP ends then: the system would ask ever more rarely, and be late when the line is back. */
constexpr milliseconds tcpConnectLimit{2000};

// --- Finding out that the other side is silent -------------------------------------------

/** A peer is not called silent sooner than this: a lost packet is repeated several times within it. */
constexpr milliseconds shortestSilenceLimit{1000};

/** A peer is silent when it has taken nothing for this many times the wait in flight: one for the command, one for its
 * resend. */
constexpr int waitsUntilSilent = 2;

/** From one look at the held bytes to the next: a small part of the half second in which a silence is to be told. */
constexpr milliseconds silenceCheckPeriod{100};

/** An idle TCP connection is probed after this time without a byte from the peer... */
constexpr seconds keepAliveIdle{5};

/** ...and then as often as this, so that a lost probe is repeated... */
constexpr seconds keepAlivePeriod{3};

/** ...until this many stay without an answer. */
constexpr int keepAliveProbes = 3;

/** The longest in which an idle peer's disappearance may stay unnoticed. */
constexpr seconds idleLossLimit{15};
static_assert(keepAliveIdle + keepAliveProbes * keepAlivePeriod <= idleLossLimit);

/** The system's own limit for unacknowledged bytes: far behind the kit's, and a third of the quarter of an hour that it
 * would try. */
constexpr milliseconds systemSilenceLimit = std::chrono::minutes{5};

// --- Bytes of commands that have ended ---------------------------------------------------

/** A healthy peer has acknowledged by then, though it may delay that; what is held later is thrown away. */
constexpr milliseconds discardDelay{250};

/** From one look at such bytes to the next: no command is written meanwhile, so it is not to take long. */
constexpr milliseconds discardCheckPeriod{10};

// --- Room for the next frame -------------------------------------------------------------

/** From one look at a full link to the next. */
constexpr milliseconds roomCheckPeriod{5};

/** From one look at a link that holds bytes, but is not full, to the next: nothing waits for the result. */
constexpr milliseconds drainCheckPeriod{250};

// --- Event logs ---------------------------------------------------------------------------

/** Lines are collected for so long before they are written, so that a busy host wakes the writer rarely. */
constexpr milliseconds eventLogDelay{100};

/** A file that cannot be written, as on a full disk, is tried again as often as this. */
constexpr milliseconds eventLogRetryPeriod{1000};

/** How long the end of a log waits for its last lines to be written. */
constexpr milliseconds eventLogFarewell{1000};

// --- Serving a client --------------------------------------------------------------------

/** From one look whether all has been told and has left to the next. */
constexpr milliseconds servingEndLookPeriod{10};

/** From one look for the end of an input that is not being read to the next. */
constexpr milliseconds pausedInputLookPeriod{100};

/** From the end of the input to the end of serving, at most; after a stop, from the last byte that was read. */
constexpr milliseconds servingEndLimit{400};

/** Of that, how long the host's loops have for their return. */
constexpr milliseconds servedHostStopLimit{200};
static_assert(pausedInputLookPeriod + servingEndLimit < seconds{1}, "no server outlives its client by a second");
static_assert(servedHostStopLimit > biz::timing::sendPassPeriod + biz::timing::resendDelay,
              "a loop that is in a resend must be able to return");

// --- Worker processes ----------------------------------------------------------------------

/** From the end of a worker to the start of the next, at first: it may have been one mishap. */
constexpr milliseconds firstWorkerPause{100};
static_assert(firstWorkerPause < seconds{1}, "a worker is started again within a second");

/** The same of one that keeps ending: it costs next to nothing then. */
constexpr milliseconds longestWorkerPause{30'000};

/** Who has run for so long and ends then does not keep ending. */
constexpr milliseconds workerCountsAsSteady{5'000};

/** From one look at a folder that another process holds, or that cannot be used, to the next. */
constexpr milliseconds workerLockLookPeriod{100};

/** How long a worker may take to begin to serve: hundreds are started together. */
constexpr milliseconds workerStartLimit{30'000};

/** How long a worker may take to end when it is asked to, before it is killed. */
constexpr milliseconds workerEndLimit{900};
static_assert(servingEndLimit < workerEndLimit && workerEndLimit < seconds{1}, "a server ends in time by itself");

/** How long the end of a killed process is waited for. */
constexpr milliseconds killedWorkerGrace{1000};

} // namespace biz::host::timing

#endif
