#ifndef BIZ_TESTS_SWEEP_H
#define BIZ_TESTS_SWEEP_H

#include <functional>
#include <map>
#include <string>

#include <model/model_protocoldata.h>

#include "checked_models.h"
#include "debug_lines.h"
#include "listing.h"

/** What is asked for its judgement of a reply. */
struct Subject
{
    std::function<bool(const model_Protocoldata &)> accepts;
    bool writesDebugLines = false; ///< false: must not, not even where the listing has one
};

/** How many values a byte takes that a line bounds; an unbounded one takes a few extremes. */
enum class Depth {
    EveryByte, ///< all 256, and the index byte always
    Limits,    ///< each limit, the values beside it, and the extremes
};

/**
 * Puts replies to a subject and compares its judgement with a listing.
 *
 * One record is reused for all replies, so that a reply costs the copy which the checker's
 * by-value parameter asks for and nothing else.
 */
class Sweep
{
public:
    Sweep(const CheckedModel &model, Subject subject);

    /** Every pair that has a line: index x bytes 4 and 5 x payload sizes around its limits. */
    void pairsWithLine(Depth depth);

    /** Every declared length from 0 to 65535, for each pair whose line looks at the length. */
    void everyDeclaredLength();

    /** Every other pair of the 65,536, with extreme replies. */
    void pairsWithoutLine();

    /** The first disagreement in wire form; empty while there is none. */
    const std::string &disagreement() const { return m_disagreement; }
    bool agrees() const { return m_disagreement.empty(); }

    long replies() const { return m_replies; }

    /** A line that was never seen to accept and to reject proves nothing; empty: there is none. */
    std::string lineSeenFromOneSideOnly() const;

private:
    struct Sides
    {
        bool accepted = false;
        bool rejected = false;
    };

    void sweepLine(const listing::Line &line, int subCode, Depth depth);
    void sweepHeads(const listing::Line &line, int subCode, Depth depth, int payload);
    void put(const listing::Line *line, int command, int subCode, const listing::Wire &wire);
    void report(const listing::Line *line, int command, int subCode, const listing::Wire &wire,
                const std::string &what);
    void setPayload(int size);

    const CheckedModel &m_model;
    Subject m_subject;
    DebugLines m_debugLines;
    model_Protocoldata m_record;
    std::map<int, QByteArray> m_payloads;
    std::map<const listing::Line *, Sides> m_sides;
    std::string m_disagreement;
    long m_replies = 0;
};

/** "A2 F1/08 index 16, declared 354, payload 354" */
std::string wireForm(const std::string &model, int command, int subCode, const listing::Wire &wire, bool declares);

/** A record with this head and payload size; its other fields are not empty either. */
model_Protocoldata replyRecord(int command, int subCode, const listing::Wire &wire);

#endif
