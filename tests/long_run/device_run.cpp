#include <long_run/device_run.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <host/reply_words.h>

namespace biz::long_run {

using namespace std::chrono_literals;
using testkit::FaultKind;

namespace {

constexpr milliseconds replyDelay = 20ms;
constexpr int waitMs = 300;

/** A code that has a rule. */
constexpr quint8 code = 0xF1;
constexpr quint8 subCode = 0x08;

/** Refused replies are what the error log is about: of each kind there are so many. */
constexpr int refusedRepliesOfAKind = 5;
constexpr int refusedRepliesOfARound = 3 * refusedRepliesOfAKind;

/** Behind the faults: the device has no power, and is back; once commands fail meanwhile, and once they wait. */
enum Outage { OffWhileFailing = testkit::faultKinds, BackFromFailing, OffWhileHolding, BackFromHolding, OutagesEnd };

bool isRefusedByTheRules(FaultKind kind)
{
    return kind == FaultKind::DeclaredLength || kind == FaultKind::ShortPayload || kind == FaultKind::IndexOutOfRange;
}

int timesOf(FaultKind kind)
{
    return isRefusedByTheRules(kind) ? refusedRepliesOfAKind : 1;
}

} // namespace

DeviceRun::DeviceRun(testkit::TestClock &clock, const Plan &plan)
    : LongRun(clock, plan)
    , m_log(static_cast<std::size_t>(plan.duration / plan.round * refusedRepliesOfARound))
{
    m_device.setReplyDelay(replyDelay);
    auto link = std::make_unique<kit_seeds::WatchedLink>(m_device.makeLink(), this);
    connectHost();
    if (!m_host.setModel(QStringLiteral("A2")) || !m_host.setDefaultWaitTime(waitMs) ||
        !m_host.setLink(std::move(link)) || !m_host.start()) {
        m_violation.note("no host: " + m_host.errorString().toStdString());
    }
}

void DeviceRun::connectHost()
{
    using host::DeviceHost;
    const auto on = [this](auto signal, auto slot) {
        QObject::connect(&m_host, signal, &m_host, slot);
    };
    on(&DeviceHost::sent, [this] { m_totals.toldSent(); });
    on(&DeviceHost::ended, [this](host::Ticket ticket, const host::CommandResult &result) {
        noteEnd(ticket, result.outcome, result.roundTripMs);
    });
    on(&DeviceHost::rejected, [this] { m_totals.toldRejected(); });
    on(&DeviceHost::late, [this] { m_totals.toldLate(); });
    on(&DeviceHost::duplicate, [this] { m_totals.toldDuplicate(); });
    on(&DeviceHost::foreign, [this] { m_totals.toldForeign(); });
}

milliseconds DeviceRun::pace() const
{
    return 200ms;
}

void DeviceRun::give()
{
    noteGiven(m_host.enqueue(host::makeCommand(code, subCode, QByteArray::number(++m_mark))));
}

int DeviceRun::slots() const
{
    return OutagesEnd;
}

void DeviceRun::beginSlot(int slot)
{
    m_host.setWhileDown(slot < OffWhileHolding ? host::WhileDown::FailFast : host::WhileDown::Hold);
    if (slot < testkit::faultKinds) {
        const auto kind = static_cast<FaultKind>(slot);
        m_device.failNext(kind, timesOf(kind));
        return;
    }
    m_device.setPower(slot == BackFromFailing || slot == BackFromHolding);
}

void DeviceRun::checkEnd(int rounds)
{
    const host::Counters all = counters();
    const testkit::DeviceTally seen = tally();
    quint64 refusable = 0;
    for (int i = 0; i < testkit::faultKinds; ++i) {
        const auto kind = static_cast<FaultKind>(i);
        const quint64 happened = seen.faults[static_cast<std::size_t>(i)];
        m_violation.require(happened == static_cast<quint64>(rounds * timesOf(kind)), "a fault did not happen");
        refusable += isRefusedByTheRules(kind) ? happened : 0;
    }
    m_violation.require(seen.unfit == 0, "a fault did no harm");
    m_violation.require(all.rejected == refusable && m_log.expected() == refusable,
                        "not every reply that breaks its rule is counted as rejected");
    m_violation.require(all.unreachable > 0 && all.gaveUp > 0, "an outage had no effect");
    if (planted() == Planted::LostLine) {
        ErrorLogCheck::loseLastLine();
    }
    const std::string problem = m_log.problem();
    m_violation.require(problem.empty(), problem.c_str());
}

// --- What is seen on the line -----------------------------------------------------------------

void DeviceRun::beforeWrite(const QByteArray & /*frame*/, bool isFull, qint64 /*bytesHeld*/)
{
    m_violation.require(!isFull, "a full link was written to");
}

/** One command is in flight at a time: its second copy follows the first. */
void DeviceRun::afterWrite(const QByteArray &frame)
{
    for (const model_Protocoldata &command : m_commandCodec.decode(frame).records) {
        noteWrite(command.baData != m_lastWritten, static_cast<int>(frame.size()));
        m_lastWritten = command.baData;
    }
}

void DeviceRun::beforeReceived(const QByteArray &bytes)
{
    m_totals.noteReceived(static_cast<int>(bytes.size()), true);
    const host::Decoded decoded = m_replyCodec.decode(bytes);
    for (const host::Refusal &refusal : decoded.refusals) {
        m_totals.noteRefused(refusal.bytes);
    }
    for (const model_Protocoldata &reply : decoded.records) {
        m_totals.noteReply();
        if (!host::judgeReply(biz_CMDSWork::deviceType, reply).accepted) {
            m_log.expect(reply);
        }
    }
}

} // namespace biz::long_run
