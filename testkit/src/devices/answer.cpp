#include <devices/answer_p.h>

#include <devices/reply_maker_p.h>

namespace biz::testkit {

namespace {

/** Half of the circle away from any command that was given lately. */
constexpr int wrongSequenceDistance = 128;

model_Protocoldata withWrongSequence(model_Protocoldata reply)
{
    reply.ucHead[0] = static_cast<uchar>(reply.ucHead[0] + wrongSequenceDistance);
    return reply;
}

Answer burstBefore(const model_Protocoldata &reply, int size)
{
    Answer answer{QVector<model_Protocoldata>(size, withWrongSequence(reply)), size};
    answer.replies.append(reply);
    return answer;
}

Answer harmed(rules::Model model, const model_Protocoldata &reply, FaultKind kind)
{
    const auto faulty = withFault(model, reply, kind);
    return {{faulty.value_or(reply)}, 0, faulty.has_value()};
}

} // namespace

Answer answerTo(rules::Model model, const model_Protocoldata &command, const std::optional<Fault> &fault)
{
    return answerWith(model, makeReply(model, command), fault);
}

Answer answerWith(rules::Model model, const model_Protocoldata &reply, const std::optional<Fault> &fault)
{
    if (!fault) {
        return {{reply}};
    }
    switch (fault->kind) {
    case FaultKind::Silence:
    case FaultKind::Close:
    case FaultKind::Vanish:
    case FaultKind::Stall:
    case FaultKind::Blackout:
        return {};
    case FaultKind::Duplicate:
        return {{reply, reply}};
    case FaultKind::WrongSequence:
        return {{withWrongSequence(reply)}};
    case FaultKind::Burst:
        return burstBefore(reply, fault->measures.burstSize);
    case FaultKind::DeclaredLength:
    case FaultKind::ShortPayload:
    case FaultKind::IndexOutOfRange:
        return harmed(model, reply, fault->kind);
    case FaultKind::Late:
    case FaultKind::FlippedBits:
    case FaultKind::SplitFrames:
    case FaultKind::MergedFrames:
    case FaultKind::Junk:
        break;
    }
    return {{reply}};
}

} // namespace biz::testkit
