#include <biz_cmdswork/reply_rules_p.h>

namespace biz::rules {

std::optional<Model> modelOfDeviceType(int deviceType)
{
    for (const CheckedType &type : checkedTypes) {
        if (type.deviceType == deviceType) {
            return type.model;
        }
    }
    return std::nullopt;
}

ModelTable tableOf(Model model)
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

const Rule *ruleFor(Model model, std::uint8_t command, std::uint8_t subCode)
{
    const ModelTable own = tableOf(model);
    const Row *row = own.table->find(command, subCode);
    if (row == nullptr || row->rules[own.column].empty()) {
        return nullptr;
    }
    return &row->rules[own.column];
}

Verdict judge(Model model, const Reply &reply)
{
    const Rule *rule = ruleFor(model, reply.command, reply.subCode);
    return {rule, rule == nullptr ? nullptr : firstBrokenClause(reply, *rule)};
}

} // namespace biz::rules
