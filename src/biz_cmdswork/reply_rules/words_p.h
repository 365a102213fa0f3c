#ifndef BIZ_REPLY_RULES_WORDS_P_H
#define BIZ_REPLY_RULES_WORDS_P_H

#include <string>
#include <vector>

#include <biz_cmdswork/reply_rules/judge_p.h>

/** Rules in words for people, made from the bounds by which replies are judged. */
namespace biz::rules {

/** "index at most 15, then length 354"; empty for a rule without clauses. */
std::string inWords(const Rule &rule);

/** "08, 09, 0D to 11" */
std::string inWords(const SubCodes &codes);

/** "0F" */
std::string hexByte(int value);

/** Why a reply does not meet a clause: "index is 16, at most 15 allowed". */
std::string whyBroken(const Reply &reply, const Clause &clause);

/**
 * The bytes of the head, by number, that a broken clause is about: what one would change to
 * meet it. Empty: the payload is too short.
 */
std::vector<int> brokenHeadBytes(const Reply &reply, const Clause &clause);

} // namespace biz::rules

#endif
