#include <biz_cmdswork/reply_rule_p.h>

namespace biz::rules {

namespace {

constexpr bool within(int value, int low, int high)
{
    return value >= low && value <= high;
}

} // namespace

bool meets(const Reply &reply, const Clause &clause)
{
    const int declared = reply.declaredLength();
    const int payload = reply.payloadSize;

    switch (clause.check) {
    case Check::IndexAtMost:
        return reply.index <= clause.a;
    case Check::IndexAtMostOrAll:
        return reply.index <= clause.a || reply.index == indexOfAll;
    case Check::IndexFromTo:
        return within(reply.index, clause.a, clause.b);
    case Check::IndexNotFromTo:
        return !within(reply.index, clause.a, clause.b);
    case Check::IndexZeroOrTwo:
        return (reply.index & ~0x02U) == 0;
    case Check::Byte4AtMost:
        return reply.byte4 <= clause.a;
    case Check::Byte4FromTo:
        return within(reply.byte4, clause.a, clause.b);
    case Check::Byte4AtMostOrIs:
        return reply.byte4 <= clause.a || reply.byte4 == clause.b;
    case Check::Byte5AtMost:
        return reply.byte5 <= clause.a;
    case Check::IndexAtMostOrByte4IsOrByte5Set:
        return reply.index <= clause.a || reply.byte4 == clause.b || reply.byte5 != 0;
    case Check::Bytes34FromTo:
        return within(combineTwoByte(reply.index, reply.byte4), clause.a, clause.b);
    case Check::LengthIs:
        return declared == clause.a && payload >= clause.a;
    case Check::LengthAtLeast:
        // Deliberate: the payload is measured against the bound, not against what is declared.
        return declared >= clause.a && payload >= clause.a;
    case Check::LengthFromTo:
        return within(declared, clause.a, clause.b) && payload >= declared;
    case Check::LengthIsOrDeclares:
        // The other lengths belong to the protocol and come with any payload, even none.
        return declared == clause.a ? payload >= clause.a : declared == clause.b || declared == clause.c;
    }
    return true;
}

const Clause *firstBrokenClause(const Reply &reply, const Rule &rule)
{
    for (const Clause &clause : rule) {
        if (!meets(reply, clause)) {
            return &clause;
        }
    }
    return nullptr;
}

} // namespace biz::rules
