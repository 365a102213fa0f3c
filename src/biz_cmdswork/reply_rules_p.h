#ifndef BIZ_REPLY_RULES_P_H
#define BIZ_REPLY_RULES_P_H

#include <optional>

#include <biz_cmdswork/reply_rule_p.h>

/** The reply rules of every model that has a checker. */
namespace biz::rules {

enum class Model : std::uint8_t { OrlixA2, OrlixA1Max, OrlixA3, Pvn410Max, K250, Pvn410Max2, OrlixA5 };

/** The model whose checker judges replies of a device type; none: all are accepted. */
std::optional<Model> modelOfDeviceType(int deviceType);

/** A model's table, in the order of the protocol, and which rule of each row is its own. */
struct ModelTable
{
    const Table *table;
    std::size_t column;
};
ModelTable tableOf(Model model);

/** The rule for a command and sub-code; null where the model has none. */
const Rule *ruleFor(Model model, std::uint8_t command, std::uint8_t subCode);

struct Verdict
{
    const Rule *rule;     ///< the rule that stood; null: there is none
    const Clause *broken; ///< the first clause that failed; null: the reply is accepted

    bool accepted() const { return broken == nullptr; }
};
Verdict judge(Model model, const Reply &reply);

extern const Table tableA2;        ///< A2 | PVN410MAX2
extern const Table tableA3A5;      ///< A3 | A5
extern const Table tableA1MaxK250; ///< A1MAX | K250
extern const Table tablePvn410Max; ///< PVN410MAX, in both columns

} // namespace biz::rules

#endif
