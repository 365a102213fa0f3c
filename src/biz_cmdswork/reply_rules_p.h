#ifndef BIZ_REPLY_RULES_P_H
#define BIZ_REPLY_RULES_P_H

#include <array>
#include <optional>

#include <biz_cmdswork/reply_rule_p.h>

/** The reply rules of every model that has a checker. */
namespace biz::rules {

enum class Model : std::uint8_t { OrlixA2, OrlixA1Max, OrlixA3, Pvn410Max, K250, Pvn410Max2, OrlixA5 };

struct CheckedType
{
    int deviceType;
    Model model;
};

/** The device types that have a checker; each type has its own. */
inline constexpr std::array<CheckedType, 7> checkedTypes = {{
    {0x1400, Model::OrlixA2},
    {0x1700, Model::OrlixA1Max},
    {0x1800, Model::OrlixA3},
    {0x7A40, Model::Pvn410Max},
    {0x3E0100, Model::K250},
    {0x7A4200, Model::Pvn410Max2},
    {0x190000, Model::OrlixA5},
}};

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
