#include <biz_gateway/gateway/command_desk.h>

#include <QtCore/QDebug>

#include <biz_gateway/broker/topic_filters.h>
#include <biz_gateway/gateway/outcome_json.h>

namespace biz::gateway {

namespace {

bool isCancel(const CommandMessage &command)
{
    return command.request.what == host::Request::Do::Cancel;
}

} // namespace

CommandDesk::CommandDesk(Journal *journal, SiteDevices *devices, Outbox *outbox, const GatewayConfig &config,
                         QObject *parent)
    : QObject(parent)
    , m_journal(journal)
    , m_devices(devices)
    , m_outbox(outbox)
    , m_topics(config.site)
    , m_responseTopics(config.responseTopics)
    , m_limits(config.allowance)
{
    m_flushing.setSingleShot(true);
    connect(&m_flushing, &QTimer::timeout, this, &CommandDesk::flushEnds);
    connect(devices, &SiteDevices::happened, this, &CommandDesk::onHappened, Qt::DirectConnection);
}

void CommandDesk::endInterrupted()
{
    const QVector<JournalEntry> left = m_journal->given();
    for (const JournalEntry &entry : left) {
        m_limits.noteGiven(entry.client);
        m_ends.push_back({entry.number, entry.client, interruptedOutcome(entry.client, entry.id, entry.device), false});
    }
    flushEnds();
}

// --- From a message to an entry ---------------------------------------------------------------

void CommandDesk::take(const QVector<Message> &messages)
{
    std::vector<Asked> asked;
    asked.reserve(static_cast<std::size_t>(messages.size()));
    for (const Message &message : messages) {
        read(message, &asked);
    }
    Round round;
    try {
        m_journal->commit([&] {
            round = {};
            for (Asked &one : asked) {
                decide(&one, &round);
            }
        });
    } catch (const JournalError &error) {
        refuseRound(&asked, error.text());
        return;
    }
    finish(round);
}

/** What is refused without a look into the journal is answered here. */
void CommandDesk::read(const Message &message, std::vector<Asked> *asked)
{
    const auto topic = m_topics.readCommandTopic(message.topic);
    const bool takesBackRetained = message.isRetained && message.payloadSize == 0;
    if (!topic || takesBackRetained) {
        return;
    }
    Asked one;
    one.address = topic->address;
    one.client = topic->client;
    one.reply = replyPathOf(message, topic->address);
    const QString overAllowance = m_limits.refusal(one.client, message.payloadSize);
    std::optional<Refusal> refusal;
    if (!overAllowance.isEmpty()) {
        refusal = Refusal{RefusalCode::OverAllowance, overAllowance};
    } else {
        one.command = readCommandMessage(message, topic->address);
        refusal = refusalOf(message, one);
    }
    if (refusal) {
        m_outbox->answer(one.reply, refusalPayload(one.client, one.command.id, one.address.name, *refusal));
    } else {
        asked->push_back(one);
    }
}

std::optional<Refusal> CommandDesk::refusalOf(const Message &message, const Asked &asked)
{
    if (message.isRetained) {
        return Refusal{RefusalCode::Retained, QStringLiteral("a command that is not retained expected")};
    }
    if (!message.responseTopic.isEmpty() && asked.reply.topic != message.responseTopic) {
        return Refusal{RefusalCode::BadMessage, QStringLiteral("a response topic like %1 expected, of at most %2 bytes")
                                                    .arg(m_responseTopics.join(QStringLiteral(", ")))
                                                    .arg(Message::longestResponseTopic)};
    }
    if (message.correlation.size() > Message::longestCorrelation) {
        return Refusal{
            RefusalCode::BadMessage,
            QStringLiteral("correlation data of at most %1 bytes expected").arg(Message::longestCorrelation)};
    }
    if (!asked.command.problem.isEmpty()) {
        return Refusal{RefusalCode::BadMessage, asked.command.problem};
    }
    return std::nullopt;
}

/**
 * Where the client wants the outcome, if it may want it there; else the device's own topic. The gateway may write
 * where a client may not, and must not be made to give commands.
 */
ReplyPath CommandDesk::replyPathOf(const Message &message, const Address &address) const
{
    const QString &wanted = message.responseTopic;
    const bool isAllowed = wanted.toUtf8().size() <= Message::longestResponseTopic &&
                           isOneOf(m_responseTopics, wanted) && !isForCommands(wanted);
    return {isAllowed ? wanted : m_topics.outcome(address), message.correlation.left(Message::longestCorrelation)};
}

void CommandDesk::refuse(const Asked &asked, const Refusal &refusal, Round *round)
{
    round->answers.emplace_back(asked.reply,
                                refusalPayload(asked.client, asked.command.id, asked.address.name, refusal));
}

void CommandDesk::decide(Asked *asked, Round *round)
{
    const auto known = m_journal->find(asked->client, asked->command.request.id);
    if (isCancel(asked->command) && known && known->state == JournalEntry::State::Given) {
        asked->number = known->number;
        round->cancels.push_back(asked);
    } else if (isCancel(asked->command) && !known) {
        refuse(*asked, {RefusalCode::BadMessage, QStringLiteral("id: that of a command expected")}, round);
    } else if (known) {
        answerFromJournal(*asked, *known, round);
    } else if (const auto refusal = refusalOfNew(*asked, *round)) {
        refuse(*asked, *refusal, round);
    } else {
        accept(asked, round);
    }
}

void CommandDesk::answerFromJournal(const Asked &asked, const JournalEntry &known, Round *round)
{
    if (!isCancel(asked.command) && known.digest != asked.command.digest) {
        refuse(asked, {RefusalCode::OtherCommand, QStringLiteral("id: one that no other command has had expected")},
               round);
    } else if (known.state == JournalEntry::State::Given) {
        // Whoever asked last is told.
        m_journal->setReplyPath(known.number, asked.reply);
    } else {
        round->answers.emplace_back(asked.reply, known.outcome);
    }
}

std::optional<Refusal> CommandDesk::refusalOfNew(const Asked &asked, const Round &round) const
{
    if (m_isStopping) {
        return Refusal{RefusalCode::Stopping, QStringLiteral("the gateway is about to end")};
    }
    if (!m_devices->has(asked.address)) {
        return Refusal{RefusalCode::UnknownDevice,
                       QStringLiteral("there is no %1 here").arg(addressText(asked.address))};
    }
    const QString tooMany = m_limits.refusalOfPending(asked.client, round.acceptedOf.value(asked.client));
    return tooMany.isEmpty() ? std::nullopt : std::optional(Refusal{RefusalCode::OverAllowance, tooMany});
}

void CommandDesk::accept(Asked *asked, Round *round)
{
    JournalEntry entry;
    entry.client = asked->client;
    entry.id = asked->command.request.id;
    entry.digest = asked->command.digest;
    entry.device = asked->address.name;
    entry.reply = asked->reply;
    asked->number = m_journal->add(entry);
    round->accepted.push_back(asked);
    ++round->acceptedOf[asked->client];
}

/** What the journal knows is answered or cancelled all the same: reading needs no room. */
void CommandDesk::refuseRound(std::vector<Asked> *asked, const QString &problem)
{
    qWarning("%s", qUtf8Printable(problem));
    Round round;
    for (Asked &one : *asked) {
        const auto known = m_journal->find(one.client, one.command.request.id);
        if (known && known->state != JournalEntry::State::Given) {
            answerFromJournal(one, *known, &round);
        } else if (known && isCancel(one.command)) {
            one.number = known->number;
            round.cancels.push_back(&one);
        } else if (!known) {
            refuse(one, {RefusalCode::NoRoom, problem}, &round);
        }
    }
    finish(round);
}

// --- To the device ----------------------------------------------------------------------------

void CommandDesk::finish(const Round &round)
{
    for (const auto &[reply, payload] : round.answers) {
        m_outbox->answer(reply, payload);
    }
    for (const Asked *const asked : round.accepted) {
        give(*asked);
    }
    for (const Asked *const asked : round.cancels) {
        cancel(*asked);
    }
}

void CommandDesk::give(const Asked &asked)
{
    host::CommandOptions options = asked.command.request.options;
    options.id = asked.command.request.id;
    const host::Ticket ticket = m_devices->give(asked.address, asked.command.request, options);
    m_limits.noteGiven(asked.client);
    if (ticket == 0) {
        const Refusal refusal{RefusalCode::DeviceRefuses, m_devices->errorString()};
        m_ends.push_back(
            {asked.number, asked.client, refusalPayload(asked.client, options.id, asked.address.name, refusal), true});
        m_flushing.start(0);
        return;
    }
    const GivenKey key(asked.address.channel, ticket);
    m_given[key] = {asked.number, asked.client, asked.address};
    m_numbers.insert(asked.number, key);
}

/** One that has ended meanwhile has an outcome on its way. */
void CommandDesk::cancel(const Asked &asked)
{
    const auto key = m_numbers.constFind(asked.number);
    if (key != m_numbers.constEnd()) {
        m_devices->cancel(m_given[*key].address, key->second);
    }
}

// --- And back ---------------------------------------------------------------------------------

void CommandDesk::onHappened(const Address &address, const host::Event &event)
{
    const auto found = m_given.find({address.channel, event.ticket});
    if (!host::outcomeOf(event.kind) || found == m_given.end()) {
        return;
    }
    const Given ended = found->second;
    m_given.erase(found);
    m_numbers.remove(ended.number);
    m_ends.push_back({ended.number, ended.client, payloadOf(event, ended.client), false});
    if (!m_flushing.isActive()) {
        m_flushing.start(0);
    }
}

/** A refusal is told when its entry has gone: only then is the same id taken again. */
void CommandDesk::flushEnds()
{
    std::vector<std::pair<ReplyPath, QByteArray>> refusals;
    try {
        m_journal->commit([&] {
            refusals.clear();
            for (const End &end : m_ends) {
                if (end.isRefused) {
                    refusals.emplace_back(m_journal->remove(end.number), end.payload);
                } else {
                    m_journal->setEnded(end.number, end.payload);
                }
            }
        });
    } catch (const JournalError &error) {
        qWarning("outcomes wait: %s", qUtf8Printable(error.text()));
        m_flushing.start(journalRetryPeriodMs);
        return;
    }
    const std::vector<End> ends = std::exchange(m_ends, {});
    for (const End &end : ends) {
        m_limits.noteEnded(end.client);
    }
    for (const auto &[reply, payload] : refusals) {
        m_outbox->answer(reply, payload);
    }
    m_outbox->sendNew();
}

} // namespace biz::gateway
