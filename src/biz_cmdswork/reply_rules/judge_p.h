#ifndef BIZ_REPLY_RULES_JUDGE_P_H
#define BIZ_REPLY_RULES_JUDGE_P_H

#include <algorithm>
#include <cstdint>

#include <biz_cmdswork/reply_rules/reply_p.h>
#include <biz_cmdswork/reply_rules/vocabulary_p.h>

/** How a rule judges a reply. */
namespace biz::rules {

constexpr std::uint16_t valueOf(Number number, const Reply &reply)
{
    switch (number) {
    case Number::Index:
        return reply.index;
    case Number::Byte4:
        return reply.byte4;
    case Number::Byte5:
        return reply.byte5;
    case Number::Bytes34:
        return combineTwoByte(reply.index, reply.byte4);
    case Number::Declared:
        return reply.declaredLength();
    }
    return 0;
}

constexpr bool isWithin(const Bounds &bounds, const Reply &reply)
{
    const std::uint16_t value = valueOf(bounds.number, reply);
    return value >= bounds.from && value <= bounds.to;
}

/** How many bytes a clause wants in the payload of a reply. */
constexpr int neededPayload(const Clause &clause, const Reply &reply)
{
    return std::min(reply.declaredLength(), clause.payloadUpTo);
}

/** Whether a reply meets one clause. */
constexpr bool meets(const Reply &reply, const Clause &clause)
{
    const auto &[first, second, third] = clause.anyOf;
    return (isWithin(first, reply) && reply.payloadSize >= neededPayload(clause, reply)) || isWithin(second, reply) ||
           isWithin(third, reply);
}

/** What a rule says of a reply. */
struct Verdict
{
    const Rule &rule;     ///< empty: there is none, and the reply is accepted
    const Clause *broken; ///< the first clause that failed; null: the reply is accepted

    constexpr bool accepted() const { return broken == nullptr; }
};

constexpr Verdict judge(const Rule &rule, const Reply &reply)
{
    for (const Clause &clause : rule) {
        if (!meets(reply, clause)) {
            return {rule, &clause};
        }
    }
    return {rule, nullptr};
}

} // namespace biz::rules

#endif
