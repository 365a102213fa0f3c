#ifndef BIZ_REPLY_RULES_P_H
#define BIZ_REPLY_RULES_P_H

#include <array>
#include <optional>

#include <biz_cmdswork/reply_rule_p.h>

/**
 * The reply rules of every model that has a checker. The look-ups are inline: with the
 * model known at compile time, judging a reply costs little beside handing it over.
 */
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

extern const Table tableA2;        ///< A2 | PVN410MAX2
extern const Table tableA3A5;      ///< A3 | A5
extern const Table tableA1MaxK250; ///< A1MAX | K250
extern const Table tablePvn410Max; ///< PVN410MAX, in both columns

/** The model whose checker judges replies of a device type; none: all are accepted. */
constexpr std::optional<Model> modelOfDeviceType(int deviceType)
{
    for (const CheckedType &type : checkedTypes) {
        if (type.deviceType == deviceType) {
            return type.model;
        }
    }
    return std::nullopt;
}

/** A model's table, in the order of the protocol, and which rule of each row is its own. */
struct ModelTable
{
    const Table *table;
    std::size_t column;
};

constexpr ModelTable tableOf(Model model)
{
    switch (model) {
    case Model::OrlixA2:
        return {&tableA2, 0};
    case Model::Pvn410Max2:
        return {&tableA2, 1};
    case Model::OrlixA3:
        return {&tableA3A5, 0};
    case Model::OrlixA5:
        return {&tableA3A5, 1};
    case Model::OrlixA1Max:
        return {&tableA1MaxK250, 0};
    case Model::K250:
        return {&tableA1MaxK250, 1};
    case Model::Pvn410Max:
        break;
    }
    return {&tablePvn410Max, 0};
}

/** The rule for a command and sub-code; null where the model has none. */
inline const Rule *ruleFor(Model model, std::uint8_t command, std::uint8_t subCode)
{
    const ModelTable own = tableOf(model);
    const Row *row = own.table->find(command, subCode);
    if (row == nullptr || row->rules[own.column].empty()) {
        return nullptr;
    }
    return &row->rules[own.column];
}

struct Verdict
{
    const Rule *rule;     ///< the rule that stood; null: there is none
    const Clause *broken; ///< the first clause that failed; null: the reply is accepted

    bool accepted() const { return broken == nullptr; }
};

inline Verdict judge(Model model, const Reply &reply)
{
    const Rule *rule = ruleFor(model, reply.command, reply.subCode);
    return {rule, rule == nullptr ? nullptr : firstBrokenClause(reply, *rule)};
}

/** Whether judge() accepts, without its reasons and without a jump that depends on the reply. */
inline bool accepts(Model model, const Reply &reply)
{
    const ModelTable own = tableOf(model);
    return meets(reply, own.table->rowOrNone(reply.command, reply.subCode).rules[own.column]);
}

} // namespace biz::rules

#endif
