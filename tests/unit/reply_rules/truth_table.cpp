#include "truth_table.h"

#include <algorithm>
#include <sstream>

#include <biz_cmdswork/reply_rules/words_p.h>

#include "checked_models.h"

namespace {

using namespace biz::rules;

void writeCommand(std::ostream &out, const CheckedModel &model, int command)
{
    std::array<std::string, 256> rules;
    for (std::size_t subCode = 0; subCode < rules.size(); ++subCode) {
        rules[subCode] = inWords(
            rulesOf(model.model).ruleFor(static_cast<std::uint8_t>(command), static_cast<std::uint8_t>(subCode)));
    }
    const std::string start = model.name + '\t' + hexByte(command) + '\t';
    if (!rules[0].empty() && std::all_of(rules.begin(), rules.end(), [&](const auto &r) { return r == rules[0]; })) {
        out << start << "*\t" << rules[0] << '\n';
        return;
    }
    for (int subCode = 0; subCode <= 0xFF; ++subCode) {
        const std::string &rule = rules[static_cast<std::size_t>(subCode)];
        if (!rule.empty()) {
            out << start << hexByte(subCode) << '\t' << rule << '\n';
        }
    }
}

} // namespace

std::string truthTable()
{
    std::ostringstream out;
    out << "# Every rule that the library applies, generated from it; a change of a rule shows here.\n"
           "# Write it anew, then read the difference: reply_rules_test --write-truth-table\n"
           "# model\tcommand\tsub-code (* for all)\trule\n";
    for (const CheckedModel &model : checkedModels()) {
        for (int command = 0; command <= 0xFF; ++command) {
            writeCommand(out, model, command);
        }
    }
    return out.str();
}

std::string truthTableFile()
{
    return dataFile("reply_rules_truth.tsv");
}
