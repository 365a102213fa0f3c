#ifndef BIZ_TESTS_CHECKED_MODELS_H
#define BIZ_TESTS_CHECKED_MODELS_H

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_cmdswork/reply_rules/models_p.h>

#include "listing.h"

/** The models that have a checker, and every way in which each of them is asked. */
struct CheckedModel
{
    std::string name; ///< as the reports spell it
    std::string file; ///< its listing in tests/data
    int deviceType = 0;
    bool (biz_CMDSWork::*checker)(model_Protocoldata) = nullptr;
    biz::rules::Model model{};

    /** Read once, then kept. */
    const listing::Listing &rules() const;
};

const std::vector<CheckedModel> &checkedModels();
const CheckedModel &checkedModel(std::string_view name);

/** The path of a file in tests/data. */
std::string dataFile(const std::string &name);

inline std::ostream &operator<<(std::ostream &out, const CheckedModel &model)
{
    return out << model.name;
}

#endif
