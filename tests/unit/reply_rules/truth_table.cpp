#include "truth_table.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "checked_models.h"

namespace {

using namespace biz::rules;

std::string inWords(const Clause &clause)
{
    const std::string a = std::to_string(clause.a);
    const std::string b = std::to_string(clause.b);
    const std::string c = std::to_string(clause.c);
    switch (clause.check) {
    case Check::IndexAtMost:
        return "index at most " + a;
    case Check::IndexAtMostOrAll:
        return "index at most " + a + " or 255";
    case Check::IndexFromTo:
        return "index from " + a + " to " + b;
    case Check::IndexNotFromTo:
        return "index not from " + a + " to " + b;
    case Check::IndexZeroOrTwo:
        return "index 0 or 2";
    case Check::Byte4AtMost:
        return "byte 4 at most " + a;
    case Check::Byte4FromTo:
        return "byte 4 from " + a + " to " + b;
    case Check::Byte4AtMostOrIs:
        return "byte 4 at most " + a + " or " + b;
    case Check::Byte5AtMost:
        return "byte 5 at most " + a;
    case Check::IndexAtMostOrByte4IsOrByte5Set:
        return "index at most " + a + ", or byte 4 is " + b + ", or byte 5 is not 0";
    case Check::Bytes34FromTo:
        return "bytes 3 (low) and 4 (high) from " + a + " to " + b;
    case Check::LengthIs:
        return "declares " + a + " and holds at least as much";
    case Check::LengthAtLeast:
        return "declares at least " + a + " and holds at least " + a;
    case Check::LengthFromTo:
        return "declares from " + a + " to " + b + " and holds at least what it declares";
    case Check::LengthIsOrDeclares:
        return "declares " + a + " and holds at least as much, or declares " + b + (b == c ? "" : " or " + c) +
               " and holds anything";
    }
    return "a check without words";
}

std::string inWords(const Rule *rule)
{
    std::string text;
    for (const Clause &clause : *rule) {
        text += (text.empty() ? "" : "; then ") + inWords(clause);
    }
    return text;
}

std::string hex(int value)
{
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(value) & 0xFFU);
    return digits;
}

void writeCommand(std::ostream &out, const CheckedModel &model, int command)
{
    std::array<std::string, 256> rules;
    for (std::size_t subCode = 0; subCode < rules.size(); ++subCode) {
        const Rule *rule = ruleFor(model.model, static_cast<std::uint8_t>(command), static_cast<std::uint8_t>(subCode));
        rules[subCode] = rule == nullptr ? std::string() : inWords(rule);
    }
    const std::string start = model.name + '\t' + hex(command) + '\t';
    if (!rules[0].empty() && std::all_of(rules.begin(), rules.end(), [&](const auto &r) { return r == rules[0]; })) {
        out << start << "*\t" << rules[0] << '\n';
        return;
    }
    for (int subCode = 0; subCode <= 0xFF; ++subCode) {
        const std::string &rule = rules[static_cast<std::size_t>(subCode)];
        if (!rule.empty()) {
            out << start << hex(subCode) << '\t' << rule << '\n';
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
