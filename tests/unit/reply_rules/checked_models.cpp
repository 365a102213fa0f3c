#include "checked_models.h"

#include <map>
#include <stdexcept>

const std::vector<CheckedModel> &checkedModels()
{
    using biz::rules::Model;
    using Work = biz_CMDSWork;
    static const std::vector<CheckedModel> models = {
        {"A2", "reply_rules_a2.tsv", 0x1400, &Work::checkRecvData_ORLIX_A2, Model::OrlixA2},
        {"A1MAX", "reply_rules_a1max.tsv", 0x1700, &Work::checkRecvData_ORLIX_A1MAX, Model::OrlixA1Max},
        {"A3", "reply_rules_a3.tsv", 0x1800, &Work::checkRecvData_ORLIX_A3, Model::OrlixA3},
        {"PVN410MAX", "reply_rules_pvn410max.tsv", 0x7A40, &Work::checkRecvData_PVN410MAX, Model::Pvn410Max},
        {"K250", "reply_rules_k250.tsv", 0x3E0100, &Work::checkRecvData_K250, Model::K250},
        {"PVN410MAX2", "reply_rules_pvn410max2.tsv", 0x7A4200, &Work::checkRecvData_PVN410MAX2, Model::Pvn410Max2},
        {"A5", "reply_rules_a5.tsv", 0x190000, &Work::checkRecvData_ORLIX_A5, Model::OrlixA5},
    };
    return models;
}

const CheckedModel &checkedModel(std::string_view name)
{
    for (const CheckedModel &model : checkedModels()) {
        if (model.name == name) {
            return model;
        }
    }
    throw std::logic_error("no such model: " + std::string(name));
}

std::string dataFile(const std::string &name)
{
    return std::string(BIZ_TEST_DATA_DIR "/") + name;
}

const listing::Listing &CheckedModel::rules() const
{
    static std::map<std::string, listing::Listing> read;
    const auto known = read.find(file);
    if (known != read.end()) {
        return known->second;
    }
    return read.emplace(file, listing::Listing::read(dataFile(file))).first->second;
}
