#include <long_run/osd_run.h>

#include <array>

#include <host/osd_datagram_codec.h>

namespace biz::long_run {

using namespace std::chrono_literals;
using testkit::FaultKind;

namespace {

constexpr int deviceCount = 50;
constexpr milliseconds replyDelay = 20ms;

/** Those that an OSD device has. */
constexpr std::array<FaultKind, 8> faults{
    FaultKind::Silence, FaultKind::Late,   FaultKind::Duplicate, FaultKind::FlippedBits,
    FaultKind::Junk,    FaultKind::Vanish, FaultKind::Burst,     FaultKind::Blackout,
};

/** Behind the faults: the way to all of them is full for a while. */
enum Outage { Full = static_cast<int>(faults.size()), Free, OutagesEnd };

} // namespace

OsdRun::OsdRun(testkit::TestClock &clock, const Plan &plan)
    : LongRun(clock, plan)
    , m_devices(QStringLiteral("10.0.0.1"), deviceCount)
    , m_addresses(m_devices.addresses())
{
    m_devices.setReplyDelay(replyDelay);
    auto transport = std::make_unique<kit_seeds::WatchedTransport>(m_devices.makeTransport(), this);
    m_transport = transport.get();
    connectHost();
    if (!m_host.setTransport(std::move(transport)) || !m_host.start()) {
        m_violation.note("no host: " + m_host.errorString().toStdString());
    }
}

void OsdRun::connectHost()
{
    using host::OsdHost;
    const auto on = [this](auto signal, auto slot) {
        QObject::connect(&m_host, signal, &m_host, slot);
    };
    on(&OsdHost::sent, [this] { m_totals.toldSent(); });
    on(&OsdHost::ended, [this](host::Ticket ticket, const host::OsdCommandResult &result) {
        noteEnd(ticket, result.outcome, result.roundTripMs);
    });
    on(&OsdHost::late, [this] { m_totals.toldLate(); });
    on(&OsdHost::duplicate, [this] { m_totals.toldDuplicate(); });
    on(&OsdHost::foreign, [this] { m_totals.toldForeign(); });
}

milliseconds OsdRun::pace() const
{
    return 1s;
}

void OsdRun::give()
{
    for (const QString &address : m_addresses) {
        model_OsdParam command;
        command.qsIp = address;
        command.baData = QByteArray::number(++m_mark);
        noteGiven(m_host.enqueue(command));
    }
}

int OsdRun::slots() const
{
    return OutagesEnd;
}

void OsdRun::beginSlot(int slot)
{
    m_transport->setFull(slot == Full);
    if (slot < Full) {
        for (const QString &address : m_addresses) {
            m_devices.failNext(address, faults[static_cast<std::size_t>(slot)]);
        }
    }
}

void OsdRun::checkEnd(int rounds)
{
    const testkit::DeviceTally seen = tally();
    for (const FaultKind kind : faults) {
        m_violation.require(seen.faults[static_cast<std::size_t>(kind)] == static_cast<quint64>(rounds * deviceCount),
                            "a fault did not happen");
    }
    const host::Counters all = counters();
    m_violation.require(seen.unfit == 0, "a fault did no harm");
    m_violation.require(all.gaveUp > 0, "an outage had no effect");
    host::Counters sum;
    for (const host::OsdDeviceStatus &device : m_host.devices()) {
        sum += device.counters;
    }
    m_violation.require(sum.enqueued == all.enqueued && sum.answered == all.answered && sum.gaveUp == all.gaveUp &&
                            sum.sent == all.sent && sum.duplicate == all.duplicate && sum.late == all.late,
                        "the devices' counters are not those of the host together");
}

// --- What is seen on the line -----------------------------------------------------------------

void OsdRun::afterSend(const QHostAddress & /*device*/, const QByteArray &datagram)
{
    noteWrite(true, static_cast<int>(datagram.size()));
}

void OsdRun::onRefused(const QByteArray & /*datagram*/)
{
    m_violation.note("a datagram was refused");
}

void OsdRun::beforeReceived(const QHostAddress & /*device*/, const QByteArray &datagram)
{
    model_OsdParam reply;
    QString problem;
    const bool isReply = host::OsdDatagramCodec::decode(datagram, &reply, &problem);
    m_totals.noteReceived(static_cast<int>(datagram.size()), isReply);
    if (isReply) {
        m_totals.noteReply();
    } else {
        m_totals.noteRefused(static_cast<int>(datagram.size()));
    }
}

} // namespace biz::long_run
