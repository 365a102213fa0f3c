#include <history/reading/refusal_book.h>

#include <algorithm>

#include <host/reply_words.h>

namespace biz::history {

namespace {

/** What a device's history holds of things that somebody else names. */
constexpr std::size_t mostShapes = 512;
constexpr std::size_t mostRefusals = 200;

constexpr int headSize = sizeof(model_Protocoldata::ucHead);

constexpr char refusedSide = 'r';
constexpr char acceptedSide = 'a';

QString clauseOf(const Refusal &refusal)
{
    return refusal.codes + QLatin1Char('\n') + refusal.rule + QLatin1Char('\n') + refusal.broken;
}

/** By the rules of the device's model, or of the model whose rules say the same, where a log does not name it. */
host::ReplyJudgement judgementOf(const Refusal &refusal, const model_Protocoldata &reply, int deviceType)
{
    host::ReplyJudgement own = host::judgeReply(deviceType, reply);
    if (deviceType >= 0) {
        return own;
    }
    for (const host::CheckedModel &model : host::checkedModels()) {
        host::ReplyJudgement judgement = host::judgeReply(model.deviceType, reply);
        if (!judgement.accepted && judgement.rule == refusal.rule && judgement.broken == refusal.broken) {
            return judgement;
        }
    }
    return own;
}

} // namespace

void RefusalBook::add(Device &device, const Refusal &refusal, const model_Protocoldata &reply, int deviceType,
                      const Bounds &bounds)
{
    const QByteArray head(reinterpret_cast<const char *>(reply.ucHead), headSize);
    ++device.refusedReplies;
    noteShape(device.refusedShapes, refusedSide, head, static_cast<int>(reply.baData.size()));
    const QString clause = clauseOf(refusal);
    const auto known = m_clauses.find(clause);
    if (known != m_clauses.end()) {
        Refusal &counted = device.refusals[known->second];
        ++counted.count;
        counted.lastMs = refusal.firstMs;
        return;
    }
    if (device.refusals.size() >= mostRefusals) {
        if (!bounds.areSet()) {
            return;
        }
        forgetOldest(device.refusals);
    }
    m_clauses.emplace(clause, device.refusals.size());
    const host::ReplyJudgement judgement = judgementOf(refusal, reply, deviceType);
    Refusal first = refusal;
    first.count = 1;
    first.lastMs = refusal.firstMs;
    first.head = head;
    first.data = reply.baData;
    first.brokenHeadBytes = judgement.brokenHeadBytes;
    first.brokenPayload = judgement.brokenPayload;
    first.isAcceptedNow = deviceType >= 0 && judgement.accepted;
    device.refusals.push_back(first);
}

void RefusalBook::noteAccepted(Device &device, const QByteArray &head, int payloadSize)
{
    noteShape(device.acceptedShapes, acceptedSide, head, payloadSize);
}

/** Notes a reply that is not known yet; its sequence byte is all the same to the rules. */
void RefusalBook::noteShape(std::vector<ReplyShape> &shapes, char side, const QByteArray &head, int payloadSize)
{
    if (head.size() != headSize || shapes.size() >= mostShapes) {
        return;
    }
    if (m_shapes.insert(side + head.mid(1) + QByteArray::number(payloadSize)).second) {
        shapes.push_back({head, payloadSize});
    }
}

/** The kind of refusal that was not seen for longest. */
void RefusalBook::forgetOldest(std::vector<Refusal> &refusals)
{
    const auto oldest = std::min_element(refusals.begin(), refusals.end(),
                                         [](const Refusal &a, const Refusal &b) { return a.lastMs < b.lastMs; });
    const auto place = static_cast<std::size_t>(oldest - refusals.begin());
    m_clauses.erase(clauseOf(*oldest));
    if (place + 1 < refusals.size()) {
        refusals[place] = refusals.back();
        m_clauses[clauseOf(refusals[place])] = place;
    }
    refusals.pop_back();
}

} // namespace biz::history
