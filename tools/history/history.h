#ifndef BIZ_HISTORY_HISTORY_H
#define BIZ_HISTORY_HISTORY_H

#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <history/tally.h>
#include <host/vocabulary.h>

/**
 * What hosts lived through, read back from their logs. Times are milliseconds since 1970, negative
 * where there is none; a time within a run keeps its fraction.
 */
namespace biz::history {

constexpr double never = -1.0;

/** One command from its giving to its end, small since a history may hold millions. */
struct Command
{
    double givenMs = never;
    double sentMs = never;
    double resentMs = never;
    double endMs = never;
    quint64 ticket = 0; ///< names it within its run
    float roundTripMs = -1.0F;
    float lateAfterMs = -1.0F; ///< how long after it was sent its first late reply came
    int waitMs = -1;
    int name = 0;       ///< the place in History::names
    int rejections = 0; ///< replies that were refused
    bool hasEnded = false;
    host::Outcome outcome = host::Outcome::Stopped;

    bool isAnswered() const { return hasEnded && outcome == host::Outcome::Answered; }

    /** Its wait was over without a reply that could be accepted. */
    bool isGivenUp() const
    {
        return hasEnded && (outcome == host::Outcome::GaveUp || outcome == host::Outcome::Released);
    }

    /** From the first writing to the reply, also where that came late or after a resend; negative: no reply. */
    double responseMs() const
    {
        if (isAnswered()) {
            return resentMs >= 0.0 && sentMs >= 0.0 ? endMs - sentMs : static_cast<double>(roundTripMs);
        }
        return static_cast<double>(lateAfterMs);
    }

    double beginMs() const { return givenMs >= 0.0 ? givenMs : sentMs; }
};

/** Something that happened beside the way of a command. */
struct Incident
{
    enum class Kind { Rejected, Late, Duplicate, Foreign };

    Kind kind = Kind::Rejected;
    double atMs = never;
};

/** A stretch of time that a link was in one state. */
struct LinkSpan
{
    host::LinkState state = host::LinkState::Closed;
    double fromMs = never;
    double toMs = never;
    QString reason;
};

/** Replies that broke the same clause of the same rule. */
struct Refusal
{
    QString codes;
    QString rule;
    QString broken;
    quint64 count = 0;
    double firstMs = never;
    double lastMs = never;

    // The first of them.
    QByteArray head;
    QByteArray data;
    QVector<int> brokenHeadBytes; ///< by number, as the rules of this version see it
    bool brokenPayload = false;
    bool isAcceptedNow = false; ///< the rules of this version find nothing wrong with it
};

/** A reply as far as the rules look at it. */
struct ReplyShape
{
    QByteArray head; ///< all of its bytes
    int payloadSize = 0;
};

/** What went wrong apart from commands, with the number of times. */
struct Trouble
{
    QString text;
    quint64 count = 0;
    double firstMs = never;
};

/** One device, and all that happened to it. */
struct Device
{
    QString title; ///< "A2 at tcp://127.0.0.1:15700", or an OSD device's address
    QString model; ///< "A2"; empty for a type without rules, and of an OSD device
    bool isOfDevice = true;
    bool isPipelined = false;
    int deviceType = -1;
    std::vector<Command> commands; ///< in the order in which they were given
    std::vector<Incident> incidents;
    std::vector<double> clears; ///< when the host discarded its commands
    std::vector<LinkSpan> link;
    std::vector<Refusal> refusals;
    std::vector<ReplyShape> refusedShapes; ///< different ones, and a bounded number
    std::vector<ReplyShape> acceptedShapes;
    std::vector<Trouble> troubles; ///< bytes that were no reply, failed sending and receiving
    quint64 refusedReplies = 0;

    // What a log tells where it begins: an OSD device had not replied since then.
    double silentSinceMs = never;
    double silentToldMs = never;

    // Of a history that goes on.
    Tally forgotten;            ///< what is not held any more, or was before the log began
    int openCommands = 0;       ///< of the run that goes on, those that have not ended
    double lastReplyMs = never; ///< when anything was heard of it last
    quint64 events = 0;         ///< grows with each line about it
};

/** One start of a host, or one recording. */
struct Run
{
    QString file;
    QString link;
    QString model;
    QString tool;
    QString library;
    QString environment; ///< "Qt 5.15.8, Debian GNU/Linux 12 (bookworm), x86_64"
    bool isOfDevice = true;
    bool isPipelined = false;
    double fromMs = never;
    double toMs = never;
    bool isComplete = false; ///< its last line is there
    QString problem;         ///< why it ended early
    quint64 lostLines = 0;   ///< of its log, which could not be written
};

/** A file that was read. */
struct Source
{
    QString name;
    QString kind; ///< "event log", "recording" or "error log"
    quint64 lines = 0;
    quint64 notUnderstood = 0;
    int firstNotUnderstood = 0; ///< its number, from 1
};

struct History
{
    std::vector<Source> sources;
    std::vector<Run> runs;
    std::vector<Device> devices;
    QStringList names; ///< of commands
    quint64 events = 0;
    double fromMs = never;
    double toMs = never;

    bool isEmpty() const { return fromMs < 0.0; }
};

} // namespace biz::history

#endif
