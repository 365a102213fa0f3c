#include <devices/reply_maker_p.h>

#include <algorithm>
#include <vector>

#include <biz_cmdswork/reply_rules/reply_view_p.h>

namespace biz::testkit {

namespace {

using rules::Reply;
using rules::Rule;

constexpr int everyByte = 0x100;
constexpr int everyLength = 0x10000;

bool judgesPayload(const Rule &rule)
{
    return std::any_of(rule.begin(), rule.end(), [](const rules::Clause &clause) { return clause.payloadUpTo > 0; });
}

bool accepts(const Rule &rule, const Reply &reply)
{
    return rules::judge(rule, reply).accepted();
}

void setDeclaredLength(Reply &reply, int length)
{
    reply.byte4 = static_cast<quint8>(length & 0xFF);
    reply.byte5 = static_cast<quint8>(length >> 8);
}

/** 0 and the ends of a rule's bounds: a value that it admits is one of them. */
std::vector<int> numbersOf(const Rule &rule)
{
    std::vector<int> numbers{0};
    for (const rules::Clause &clause : rule) {
        for (const rules::Bounds &bounds : clause.anyOf) {
            if (!bounds.admitNothing()) {
                numbers.insert(numbers.end(), {bounds.from, bounds.to});
            }
        }
    }
    return numbers;
}

/**
 * What bytes 4 and 5 may become, in the order of how much of the command's is kept: as they
 * are, one of them changed, and both as one length.
 */
std::vector<Reply> lengthCandidates(const Rule &rule, const Reply &own)
{
    const std::vector<int> numbers = numbersOf(rule);
    std::vector<Reply> candidates{own};
    for (const int number : numbers) {
        candidates.push_back(own);
        candidates.back().byte4 = static_cast<quint8>(number);
        candidates.push_back(own);
        candidates.back().byte5 = static_cast<quint8>(number);
    }
    for (const int number : numbers) {
        candidates.push_back(own);
        setDeclaredLength(candidates.back(), number);
    }
    return candidates;
}

/** The reply nearest to `own` that the rule accepts; `own` itself if there is none. */
Reply acceptedReply(const Rule &rule, const Reply &own)
{
    std::vector<int> indexes = numbersOf(rule);
    indexes.insert(indexes.begin(), own.index);

    for (Reply candidate : lengthCandidates(rule, own)) {
        if (judgesPayload(rule)) {
            candidate.payloadSize = candidate.declaredLength();
        }
        for (const int index : indexes) {
            candidate.index = static_cast<quint8>(index);
            if (accepts(rule, candidate)) {
                return candidate;
            }
        }
    }
    return own;
}

/** Cuts the payload, or lengthens it with bytes that tell their position. */
void resize(QByteArray &payload, int size)
{
    const auto before = static_cast<int>(payload.size());
    payload.resize(size);
    for (int i = before; i < size; ++i) {
        payload[i] = static_cast<char>(i & 0xFF);
    }
}

void apply(const Reply &wanted, model_Protocoldata &reply)
{
    reply.ucHead[3] = wanted.index;
    reply.ucHead[4] = wanted.byte4;
    reply.ucHead[5] = wanted.byte5;
    resize(reply.baData, wanted.payloadSize);
}

bool refusedWithIndex(const Rule &rule, Reply &reply)
{
    const int own = reply.index;
    for (int step = 1; step < everyByte; ++step) {
        reply.index = static_cast<quint8>(own + step);
        if (!accepts(rule, reply)) {
            return true;
        }
    }
    return false;
}

bool refusedWithLength(const Rule &rule, Reply &reply)
{
    const int own = reply.declaredLength();
    for (int step = 1; step < everyLength; ++step) {
        setDeclaredLength(reply, (own + step) % everyLength);
        if (!accepts(rule, reply)) {
            return true;
        }
    }
    return false;
}

bool refusedWithPayload(const Rule &rule, Reply &reply)
{
    while (reply.payloadSize > 0) {
        --reply.payloadSize;
        if (!accepts(rule, reply)) {
            return true;
        }
    }
    return false;
}

bool refused(const Rule &rule, Reply &reply, FaultKind fault)
{
    switch (fault) {
    case FaultKind::DeclaredLength:
        return refusedWithLength(rule, reply);
    case FaultKind::ShortPayload:
        return refusedWithPayload(rule, reply);
    case FaultKind::IndexOutOfRange:
        return refusedWithIndex(rule, reply);
    case FaultKind::Silence:
    case FaultKind::Late:
    case FaultKind::Duplicate:
    case FaultKind::WrongSequence:
    case FaultKind::FlippedBits:
    case FaultKind::SplitFrames:
    case FaultKind::MergedFrames:
    case FaultKind::Junk:
    case FaultKind::Close:
    case FaultKind::Vanish:
    case FaultKind::Burst:
    case FaultKind::Stall:
    case FaultKind::Blackout:
        break; // they leave the reply as it is
    }
    return false;
}

} // namespace

model_Protocoldata makeReply(rules::Model model, const model_Protocoldata &command)
{
    model_Protocoldata reply = command;
    const Rule &rule = rules::rulesOf(model).ruleFor(command.ucHead[1], command.ucHead[2]);
    if (!rule.empty()) {
        apply(acceptedReply(rule, rules::viewOf(command)), reply);
    }
    return reply;
}

std::optional<model_Protocoldata> withFault(rules::Model model, const model_Protocoldata &reply, FaultKind fault)
{
    const Rule &rule = rules::rulesOf(model).ruleFor(reply.ucHead[1], reply.ucHead[2]);
    Reply view = rules::viewOf(reply);
    if (rule.empty() || !refused(rule, view, fault)) {
        return std::nullopt;
    }
    model_Protocoldata faulty = reply;
    apply(view, faulty);
    return faulty;
}

} // namespace biz::testkit
