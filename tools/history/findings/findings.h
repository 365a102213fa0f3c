#ifndef BIZ_HISTORY_FINDINGS_H
#define BIZ_HISTORY_FINDINGS_H

#include <optional>
#include <vector>

#include <QtCore/QString>

#include <history/history.h>
#include <history/tally.h>

namespace biz::history {

/** What somebody should know of a history, in a sentence. */
struct Finding
{
    enum class Kind {
        Silence,    ///< a device did not reply
        Slow,       ///< replies came later than the wait allows
        LinkLost,   ///< a link was down
        WrongModel, ///< replies obey the rules of another model than the one that is set
        Refusals,   ///< replies broke a rule
        EndedEarly, ///< the run was broken off
        Strays,     ///< replies, or bytes, that belong to nothing
        Cut,        ///< the log ends in the middle
        AllWell,
        Count, ///< what became of all commands
    };
    enum class Severity { Fault, Warning, Note, Good };

    Kind kind = Kind::Count;
    Severity severity = Severity::Note;
    int device = -1; ///< the place in History::devices; negative: no single one
    double fromMs = never;
    double toMs = never;
    QString headline; ///< "Silent", "Link lost": what a mark in a drawing says
    QString sentence; ///< empty where a sentence about several devices tells of it
    QString advice;   ///< what to try; may be empty
};

/** A stretch in which commands were given up and nothing was heard of the device. */
struct Silence
{
    double fromMs = never;
    double toMs = never;
    quint64 givenUp = 0;
    bool isOver = false;         ///< it was heard of again
    bool isOlderThanLog = false; ///< the host told of it where the log begins
};
std::vector<Silence> silencesOf(const Device &device);

/** Whether a wait leaves the device its time. */
struct WaitAdvice
{
    enum class Verdict { Enough, Tight, TooShort };

    int waitMs = 0;        ///< as the commands have it
    double usableMs = 0.0; ///< how long the channel really waits before it acts
    quint64 replies = 0;
    double medianMs = 0.0;
    double p99Ms = 0.0;
    double longestMs = 0.0;
    Verdict verdict = Verdict::Enough;
    int advisedMs = 0; ///< the wait that would leave the device its time
};

/** By wait; of waits without any reply nothing can be said. */
std::vector<WaitAdvice> waitAdviceOf(const Device &device);

/** How long the channel waits for a first reply when a command has this wait. */
double usableWaitMs(const Device &device, int waitMs);

/** The models, "A3 or A5", whose rules all replies obey that the set model's rules refuse; empty: none. */
QString betterModelOf(const Device &device);

/** All that is to be said, the gravest first. */
std::vector<Finding> findingsOf(const History &history);

} // namespace biz::history

#endif
