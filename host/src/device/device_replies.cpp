#include <device/device_replies_p.h>

#include <algorithm>

#include <biz_cmdswork/reply_rules/models_p.h>
#include <biz_cmdswork/reply_rules/reply_view_p.h>
#include <device/channel/device_channel_p.h>

namespace biz::host {

namespace {

bool isAccepted(const model_Protocoldata &reply)
{
    const auto model = rules::modelOfDeviceType(device_channel::deviceType());
    return !model || rules::judge(*model, rules::viewOf(reply)).accepted();
}

} // namespace

void DeviceReplies::take(model_Protocoldata reply)
{
    // The channel logs what it refuses and tells nobody; the same rules tell us why.
    const bool accepted = isAccepted(reply);
    DeviceCommand *const command = commandOf(reply);
    if (command == nullptr) {
        reportUnmatched(reply);
    } else {
        report(*command, reply, accepted);
    }
    reply.nTag = ++m_lastFed;
    if (command != nullptr && accepted) {
        (command->isAnswerUnderWay ? m_further : m_answers).push_back({m_lastFed, command->ticket, Clock::now()});
        command->isAnswerUnderWay = true;
    }
    feed(reply);
}

bool DeviceReplies::isAnswer(quint32 number) const
{
    return std::any_of(m_answers.begin(), m_answers.end(),
                       [number](const FedReply &fed) { return fed.number == number; });
}

void DeviceReplies::feed(const model_Protocoldata &reply)
{
    const auto dropped = device_channel::pushReply(reply, [this](quint32 tag) { return isAnswer(tag); });
    if (dropped.empty()) {
        return;
    }
    m_commands->count([&dropped](Statistics &totals) { totals.dropped += dropped.size(); });
    for (const model_Protocoldata &oldest : dropped) {
        onDropped(oldest);
    }
}

/** What it was has been told when it came, unless it waited for the channel to judge the first. */
void DeviceReplies::onDropped(model_Protocoldata reply)
{
    // Those that were fed before it may have been accepted already, and wait to be looked at.
    const auto fed = std::find_if(m_further.begin(), m_further.end(),
                                  [&reply](const FedReply &further) { return further.number == reply.nTag; });
    if (fed != m_further.end()) {
        const Ticket ticket = fed->ticket;
        m_further.erase(fed);
        reply.nTag = 0;
        m_commands->count([](Statistics &totals) { ++totals.duplicate; });
        m_signals->post(&DeviceHost::duplicate, ticket, reply);
    }
}

/**
 * The channel hands replies on in the order in which they were fed, the answers before the
 * others. It has refused by itself, without a word, those that are passed over: the device type
 * has been changed since they were judged here.
 */
std::optional<DeviceReplies::FedReply> DeviceReplies::takeFed(FedReplies *fed, quint32 number)
{
    while (!fed->empty() && static_cast<qint32>(fed->front().number - number) < 0) {
        if (DeviceCommand *command = m_commands->find(fed->front().ticket)) {
            command->isAnswerUnderWay = false;
        }
        fed->pop_front();
    }
    if (fed->empty() || fed->front().number != number) {
        return std::nullopt;
    }
    const FedReply origin = fed->front();
    fed->pop_front();
    return origin;
}

void DeviceReplies::report(DeviceCommand &command, const model_Protocoldata &reply, bool accepted)
{
    if (accepted) {
        command.history.note(QStringLiteral("a reply came and was accepted"));
        return;
    }
    const ReplyJudgement judgement = judgeReply(device_channel::deviceType(), reply);
    const QString rule = commandText(reply) + QStringLiteral(": ") + judgement.rule;
    m_commands->count([&rule](Statistics &totals) { totals.noteRejected(rule); });
    command.history.note(QStringLiteral("a reply came and was refused: ") + judgement.broken);
    command.lastProblem = QStringLiteral("the last reply was refused: ") + judgement.broken;
    m_signals->post(&DeviceHost::rejected, command.ticket, reply, judgement);
}

std::optional<DeviceReplies::Answer> DeviceReplies::onAccepted(model_Protocoldata reply)
{
    auto origin = takeFed(&m_answers, reply.nTag);
    if (!origin) {
        origin = takeFed(&m_further, reply.nTag);
    }
    if (!origin) {
        return std::nullopt; // it stood for nothing in flight, and was reported when it came
    }
    reply.nTag = 0;
    DeviceCommand *const command = m_commands->find(origin->ticket);
    if (command == nullptr) {
        reportUnmatched(reply);
        return std::nullopt;
    }
    return Answer{command, std::move(reply), origin->arrival};
}

void DeviceReplies::forgetVerdicts()
{
    for (const Ticket ticket : m_commands->allInFlight()) {
        m_commands->find(ticket)->isAnswerUnderWay = false;
    }
}

/** The command in flight that a reply belongs to; null when it belongs to none. */
DeviceCommand *DeviceReplies::commandOf(const model_Protocoldata &reply)
{
    if (!m_matcher) {
        return m_commands->inFlight(reply.ucHead[0]);
    }
    for (const Ticket ticket : m_commands->allInFlight()) {
        DeviceCommand *const command = m_commands->find(ticket);
        if (m_matcher->matches(command->record, reply)) {
            return command;
        }
    }
    return nullptr;
}

/** The ended command that an unmatched reply belongs to; its ticket is 0 when there is none. */
const EndedCommand &DeviceReplies::endedCommandOf(const model_Protocoldata &reply) const
{
    static const EndedCommand none;
    if (!m_matcher) {
        return m_commands->lastEnded(reply.ucHead[0]);
    }
    return m_matcher->matches(m_commands->latestEndedRecord(), reply) ? m_commands->latestEnded() : none;
}

/** A reply to a command that is not in flight: it changes nothing. */
void DeviceReplies::reportUnmatched(const model_Protocoldata &reply)
{
    const EndedCommand &ended = endedCommandOf(reply);
    m_commands->count([&ended](Statistics &totals) { ++(totals.*counterOfUnmatched(ended)); });
    if (ended.ticket == 0) {
        m_signals->post(&DeviceHost::foreign, reply);
    } else if (ended.outcome == Outcome::Answered) {
        m_signals->post(&DeviceHost::duplicate, ended.ticket, reply);
    } else {
        const double afterEndMs = millisecondsBetween(ended.endedAt, Clock::now());
        m_signals->post(&DeviceHost::late, ended.ticket, reply, afterEndMs);
    }
}

} // namespace biz::host
