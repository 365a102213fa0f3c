#ifndef BIZ_REPLY_RULES_MODELS_P_H
#define BIZ_REPLY_RULES_MODELS_P_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include <biz_cmdswork/reply_rules/judge_p.h>
#include <biz_cmdswork/reply_rules/table_p.h>

/**
 * The models that have a checker, and where the rules of each stand. The look-ups are inline:
 * with the model known at compile time, judging a reply costs little beside handing it over.
 */
namespace biz::rules {

enum class Model : std::uint8_t { OrlixA2, OrlixA1Max, OrlixA3, Pvn410Max, K250, Pvn410Max2, OrlixA5 };

extern const Table tableA2;
extern const Table tableA3A5;
extern const Table tableA1MaxK250;
extern const Table tablePvn410Max;

struct ModelRules
{
    Model model;
    int deviceType;
    std::string_view name; ///< as people know the model; the error log has names of its own
    const Table *table;
    std::size_t column; ///< which rule of each row is the model's own

    const Rule &ruleOf(const Row &row) const { return row.rules[column]; }

    /** The rule for a command and sub-code; empty where the model has none. */
    const Rule &ruleFor(std::uint8_t command, std::uint8_t subCode) const
    {
        return ruleOf(table->rowOf(command, subCode));
    }
};

/** In the order of Model. Each device type is one model's. */
inline constexpr std::array modelRules = {
    ModelRules{Model::OrlixA2, 0x1400, "A2", &tableA2, 0},
    ModelRules{Model::OrlixA1Max, 0x1700, "A1MAX", &tableA1MaxK250, 0},
    ModelRules{Model::OrlixA3, 0x1800, "A3", &tableA3A5, 0},
    ModelRules{Model::Pvn410Max, 0x7A40, "PVN410MAX", &tablePvn410Max, 0},
    ModelRules{Model::K250, 0x3E0100, "K250", &tableA1MaxK250, 1},
    ModelRules{Model::Pvn410Max2, 0x7A4200, "PVN410MAX2", &tableA2, 1},
    ModelRules{Model::OrlixA5, 0x190000, "A5", &tableA3A5, 1},
};

constexpr bool rowsAreInOrderOfModel()
{
    for (std::size_t place = 0; place < modelRules.size(); ++place) {
        if (modelRules[place].model != static_cast<Model>(place)) {
            return false;
        }
    }
    return true;
}
static_assert(rowsAreInOrderOfModel());

/** A model without a row does not compile where it is known at compile time. */
constexpr const ModelRules &rulesOf(Model model)
{
    return modelRules[static_cast<std::size_t>(model)];
}

/** The model whose checker judges replies of a device type; none: all are accepted. */
constexpr std::optional<Model> modelOfDeviceType(int deviceType)
{
    for (const ModelRules &row : modelRules) {
        if (row.deviceType == deviceType) {
            return row.model;
        }
    }
    return std::nullopt;
}

inline Verdict judge(Model model, const Reply &reply)
{
    return judge(rulesOf(model).ruleFor(reply.command, reply.subCode), reply);
}

} // namespace biz::rules

#endif
