#include <kit_seeds/osd_world.h>

#include <QtCore/QScopedValueRollback>

#include <host/osd_datagram_codec.h>
#include <kit_seeds/watched_transport.h>

namespace biz::kit_seeds {

using std::chrono::milliseconds;

namespace {

constexpr int deviceCount = 4;
constexpr int largestBurst = 4;

/** A late reply must not be taken for that to a newer command. */
class MarkMatcher final : public host::OsdReplyMatcher
{
public:
    bool matches(const model_OsdParam &command, const model_OsdParam &reply) const override
    {
        return command.baData == reply.baData;
    }
};

} // namespace

OsdWorld::OsdWorld(Dice &dice, testkit::TestClock &clock)
    : World(dice, clock)
    , m_devices(QStringLiteral("10.0.0.1"), deviceCount)
{
    m_devices.setReplyDelay(milliseconds(dice.below(30)));
    makeHost();
}

OsdWorld::~OsdWorld()
{
    end();
}

void OsdWorld::makeHost()
{
    m_host = std::make_unique<host::OsdHost>();
    auto transport = std::make_unique<WatchedTransport>(
        m_devices.makeTransport(),
        [this](const QHostAddress &device, const QByteArray &datagram) { noteSend(device, datagram); });
    if (!m_host->setTransport(std::move(transport)) || !m_host->setReplyMatcher(std::make_unique<MarkMatcher>()) ||
        !m_host->start()) {
        m_ledger.violate("no host: " + m_host->errorString().toStdString());
    }
    QObject::connect(m_host.get(), &host::OsdHost::ended, &m_context,
                     [this](host::Ticket ticket, const auto &result) { noteEnd(ticket, result, false); });
    QObject::connect(m_host.get(), &host::OsdHost::sent, &m_context, [this] { disturb(); });
    QObject::connect(m_host.get(), &host::OsdHost::late, &m_context, [this] { disturb(); });
}

void OsdWorld::end()
{
    if (!m_host) {
        return;
    }
    ++m_ledger.happenings.stops;
    m_ledger.endedAll();
    m_host.reset();
    m_clock.advance(milliseconds(1));
    m_ledger.closeBook();
}

QString OsdWorld::anyDevice()
{
    return m_devices.addresses().at(m_dice.below(deviceCount));
}

void OsdWorld::act()
{
    const int what = m_dice.below(100);
    if (what < 60) {
        give();
    } else if (what < 72) {
        const auto open = m_ledger.open();
        if (!open.isEmpty()) {
            const host::Ticket ticket = open.at(m_dice.below(static_cast<int>(open.size())));
            if (m_host->cancel(ticket)) {
                m_ledger.cancelled(ticket);
            }
        }
    } else if (what < 78) {
        const QString device = m_dice.chance(30) ? QString() : anyDevice();
        ++m_ledger.happenings.clears;
        if (device.isEmpty()) {
            m_host->clear();
        } else if (m_dice.chance(50)) {
            m_host->clear(device);
        } else {
            m_host->forget(device);
        }
        m_ledger.endedAll(device);
    } else if (what < 82) {
        stopAndStart();
    } else if (what < 99) {
        breakSomething();
    } else if (!m_isInSlot) {
        end();
        makeHost();
    }
}

void OsdWorld::give()
{
    for (int i = m_dice.between(1, largestBurst); i > 0; --i) {
        model_OsdParam command;
        command.qsIp = anyDevice();
        command.baData = m_ledger.nextMark();
        const host::CommandOptions options = this->options();
        const host::Ticket ticket = m_host->enqueue(
            command, options, &m_context,
            [this](host::Ticket ended, const host::OsdCommandResult &result) { noteEnd(ended, result, true); });
        m_ledger.given(ticket, command.baData, command.qsIp, options);
    }
}

void OsdWorld::stopAndStart()
{
    ++m_ledger.happenings.stops;
    m_host->stop();
    m_ledger.endedAll();
    if (!m_host->start()) {
        m_ledger.violate("no start after a stop: " + m_host->errorString().toStdString());
    }
}

void OsdWorld::breakSomething()
{
    // Those that an OSD device has; others leave its reply as it is.
    const auto kind = static_cast<testkit::FaultKind>(m_dice.below(testkit::faultKinds));
    if (kind != testkit::FaultKind::Close) {
        m_devices.failNext(anyDevice(), kind, m_dice.between(1, 3));
    }
}

void OsdWorld::noteSend(const QHostAddress &device, const QByteArray &datagram)
{
    model_OsdParam command;
    QString problem;
    if (!host::OsdDatagramCodec::decode(datagram, &command, &problem)) {
        m_ledger.violate("a datagram holds no command: " + problem.toStdString());
        return;
    }
    if (!m_devices.addresses().contains(device.toString())) {
        m_ledger.violate("a datagram went to a device that nobody named");
    }
    m_ledger.written(command.baData, m_host->pending() - m_host->waiting(), deviceCount);
}

void OsdWorld::noteEnd(host::Ticket ticket, const host::OsdCommandResult &result, bool isCallback)
{
    const QScopedValueRollback<bool> inSlot(m_isInSlot, true);
    const ToldEnd end{ticket, result.outcome, result.supersededBy, result.reply.baData, result.reason};
    if (isCallback) {
        m_ledger.toldCallback(end);
    } else {
        m_ledger.toldEnd(end);
    }
    if (m_host) {
        disturb();
    }
}

void OsdWorld::check()
{
    m_ledger.check(m_host->counters(), m_host->pending(), m_host->waiting());
}

} // namespace biz::kit_seeds
