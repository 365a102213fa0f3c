#include <biz_cmdswork/reply_rules/words_p.h>

#include <algorithm>
#include <limits>

namespace biz::rules {

namespace {

using BoundsList = std::vector<Bounds>;

std::string nameOf(Number number)
{
    switch (number) {
    case Number::Index:
        return "index";
    case Number::Byte4:
        return "byte 4";
    case Number::Byte5:
        return "byte 5";
    case Number::Bytes34:
        return "value of bytes 3 and 4";
    case Number::Declared:
        return "declared length";
    }
    return {};
}

std::vector<int> headBytesOf(Number number)
{
    switch (number) {
    case Number::Index:
        return {3};
    case Number::Byte4:
        return {4};
    case Number::Byte5:
        return {5};
    case Number::Bytes34:
        return {3, 4};
    case Number::Declared:
        return {4, 5};
    }
    return {};
}

std::string joined(const std::vector<std::string> &words, const std::string &between)
{
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

/** The bounds of a clause: those of the number that it is about first, and those of others. */
struct Alternatives
{
    explicit Alternatives(const Clause &clause)
        : number(clause.anyOf[0].number)
    {
        for (const Bounds &bounds : clause.anyOf) {
            if (!bounds.admitNothing()) {
                (bounds.number == number ? own : others).push_back(bounds);
            }
        }
    }

    /** Everything but one stretch in the middle. */
    bool leaveOutAStretch() const
    {
        return own.size() == 2 && own[0].from == 0 && own[1].to == largest(number) && !own[1].admitOneValue();
    }

    bool areSingleValues() const
    {
        return std::all_of(own.begin(), own.end(), [](const Bounds &bounds) { return bounds.admitOneValue(); });
    }

    Number number;
    BoundsList own;
    BoundsList others;
};

std::string fromTo(int from, int to)
{
    return std::to_string(from) + " to " + std::to_string(to);
}

/** "15", "255 (all)", "at most 15", "at least 9", "not 0" or "1 to 3" */
std::string valuesOf(const Bounds &bounds)
{
    if (bounds.admitOneValue()) {
        const bool isAll = bounds.number == Number::Index && bounds.from == indexOfAll;
        return std::to_string(bounds.from) + (isAll ? " (all)" : "");
    }
    if (bounds.from == 0) {
        return "at most " + std::to_string(bounds.to);
    }
    if (bounds.to == largest(bounds.number)) {
        return bounds.from == 1 ? "not 0" : "at least " + std::to_string(bounds.from);
    }
    return fromTo(bounds.from, bounds.to);
}

std::string valuesOf(const BoundsList &list)
{
    std::vector<std::string> words;
    for (const Bounds &bounds : list) {
        words.push_back(valuesOf(bounds));
    }
    return joined(words, " or ");
}

bool isStretch(const Bounds &bounds)
{
    return !bounds.admitOneValue() && bounds.from != 0 && bounds.to != largest(bounds.number);
}

/** "at most 15 or 255 (all)", "from 1 to 3", "not from 32 to 35" */
std::string valuesOf(const Alternatives &alternatives)
{
    const BoundsList &own = alternatives.own;
    if (alternatives.leaveOutAStretch()) {
        return "not from " + fromTo(own[0].to + 1, own[1].from - 1);
    }
    return (own.size() == 1 && isStretch(own[0]) ? "from " : "") + valuesOf(own);
}

/** "length 25, or declared length 15 with any payload" */
std::string lengthInWords(const Alternatives &alternatives)
{
    Alternatives measured = alternatives;
    measured.own.resize(1);
    const BoundsList unmeasured(alternatives.own.begin() + 1, alternatives.own.end());
    std::string text = "length " + valuesOf(measured);
    if (!unmeasured.empty()) {
        text += ", or " + nameOf(alternatives.number) + ' ' + valuesOf(unmeasured) + " with any payload";
    }
    return text;
}

std::string inWords(const Clause &clause)
{
    const Alternatives alternatives(clause);
    std::string text = clause.payloadUpTo > 0 ? lengthInWords(alternatives)
                                              : nameOf(alternatives.number) + ' ' + valuesOf(alternatives);
    std::vector<std::string> exceptions;
    for (const Bounds &other : alternatives.others) {
        exceptions.push_back(nameOf(other.number) + " is " + valuesOf(other));
    }
    return exceptions.empty() ? text : text + " unless " + joined(exceptions, " or ");
}

/** What would have made up for the number that a broken clause is about: "byte 4 is 0, not 2". */
std::string missedExceptions(const Reply &reply, const BoundsList &others)
{
    std::vector<std::string> words;
    for (const Bounds &other : others) {
        const std::string value = std::to_string(valueOf(other.number, reply));
        const bool isClear = other.from == 1 && other.to == largest(other.number);
        words.push_back(nameOf(other.number) + " is " + value + (isClear ? "" : ", not " + valuesOf(other)));
    }
    return joined(words, ", and ");
}

/** "at most 15 allowed", "must be 0 or 2" */
std::string allowed(const Alternatives &alternatives)
{
    if (alternatives.leaveOutAStretch()) {
        return fromTo(alternatives.own[0].to + 1, alternatives.own[1].from - 1) + " not allowed";
    }
    const std::string values = valuesOf(alternatives.own);
    const bool must = alternatives.number == Number::Declared || alternatives.areSingleValues();
    return must ? "must be " + values : values + " allowed";
}

/** Whether a clause fails whatever the payload holds. */
bool failsByHead(const Reply &reply, const Clause &clause)
{
    Reply ample = reply;
    ample.payloadSize = std::numeric_limits<int>::max();
    return !meets(ample, clause);
}

/** "08 to 0B" for a run of three or more, else the codes one by one. */
void appendRun(std::vector<std::string> &words, int first, int last)
{
    constexpr int shortestRange = 3;
    if (last - first + 1 >= shortestRange) {
        words.push_back(hexByte(first) + " to " + hexByte(last));
        return;
    }
    for (int code = first; code <= last; ++code) {
        words.push_back(hexByte(code));
    }
}

} // namespace

std::string hexByte(int value)
{
    constexpr char digits[] = "0123456789ABCDEF";
    const auto byte = static_cast<std::uint8_t>(value);
    return {digits[byte >> 4U], digits[byte & 0x0FU]};
}

std::string inWords(const Rule &rule)
{
    std::vector<std::string> clauses;
    for (const Clause &clause : rule) {
        clauses.push_back(inWords(clause));
    }
    return joined(clauses, ", then ");
}

std::string inWords(const SubCodes &codes)
{
    constexpr int end = 0x100;
    std::vector<std::string> words;
    for (int first = 0; first < end; ++first) {
        if (!codes.contains(first)) {
            continue;
        }
        int last = first;
        while (last + 1 < end && codes.contains(last + 1)) {
            ++last;
        }
        appendRun(words, first, last);
        first = last;
    }
    return joined(words, ", ");
}

std::string whyBroken(const Reply &reply, const Clause &clause)
{
    if (!failsByHead(reply, clause)) {
        return "payload holds " + std::to_string(reply.payloadSize) + " bytes, needs " +
               std::to_string(neededPayload(clause, reply));
    }
    const Alternatives alternatives(clause);
    std::string text = nameOf(alternatives.number) + " is " + std::to_string(valueOf(alternatives.number, reply)) +
                       ", " + allowed(alternatives);
    if (alternatives.others.empty()) {
        return text;
    }
    return text + " while " + missedExceptions(reply, alternatives.others);
}

std::vector<int> brokenHeadBytes(const Reply &reply, const Clause &clause)
{
    std::vector<int> bytes;
    if (!failsByHead(reply, clause)) {
        return bytes;
    }
    for (const Bounds &bounds : clause.anyOf) {
        if (!bounds.admitNothing()) {
            const std::vector<int> judged = headBytesOf(bounds.number);
            bytes.insert(bytes.end(), judged.begin(), judged.end());
        }
    }
    std::sort(bytes.begin(), bytes.end());
    bytes.erase(std::unique(bytes.begin(), bytes.end()), bytes.end());
    return bytes;
}

} // namespace biz::rules
