#include <kit_seeds/device_world.h>

#include <limits>

#include <QtCore/QScopedValueRollback>

#include <kit_seeds/watched_link.h>

namespace biz::kit_seeds {

using std::chrono::milliseconds;

namespace {

/** Pipelined commands take no notice of each other. */
constexpr int mostInFlight = 1;
constexpr int mostInFlightPipelined = std::numeric_limits<int>::max();

constexpr int largestBurst = 4;

/** One with a rule, one without. */
constexpr quint8 codeWithRule = 0xF1;
constexpr quint8 codeWithoutRule = 0x01;
constexpr quint8 subCode = 0x08;

} // namespace

DeviceWorld::DeviceWorld(Dice &dice, testkit::TestClock &clock)
    : World(dice, clock)
{
    m_device.setReplyDelay(milliseconds(dice.below(30)));
    makeHost();
}

DeviceWorld::~DeviceWorld()
{
    end();
}

void DeviceWorld::makeHost()
{
    m_host = std::make_unique<host::DeviceHost>();
    auto link =
        std::make_unique<WatchedLink>(m_device.makeLink(), [this](const QByteArray &frame) { noteWrite(frame); });
    const bool isReady =
        m_host->setModel(QStringLiteral("A2")) && m_host->setLink(std::move(link)) && m_host->setDefaultWaitTime(300);
    if (!isReady || !m_host->start()) {
        m_ledger.violate("no host: " + m_host->errorString().toStdString());
    }
    QObject::connect(m_host.get(), &host::DeviceHost::ended, &m_context,
                     [this](host::Ticket ticket, const auto &result) { noteEnd(ticket, result, false); });
    QObject::connect(m_host.get(), &host::DeviceHost::sent, &m_context, [this] { disturb(); });
    QObject::connect(m_host.get(), &host::DeviceHost::queueSize, &m_context, [this] { disturb(); });
    QObject::connect(m_host.get(), &host::DeviceHost::linkStateChanged, &m_context, [this] { disturb(); });
}

void DeviceWorld::end()
{
    if (!m_host) {
        return;
    }
    ++m_ledger.happenings.stops;
    m_ledger.endedAll();
    m_host.reset();
    // What callbacks hear of the end of the host comes by events.
    m_clock.advance(milliseconds(1));
    m_ledger.closeBook();
}

void DeviceWorld::act()
{
    const int what = m_dice.below(100);
    if (what < 55) {
        give();
    } else if (what < 65) {
        const auto open = m_ledger.open();
        if (!open.isEmpty()) {
            const host::Ticket ticket = open.at(m_dice.below(static_cast<int>(open.size())));
            if (m_host->cancel(ticket)) {
                m_ledger.cancelled(ticket);
            }
        }
    } else if (what < 69) {
        ++m_ledger.happenings.clears;
        m_host->clear();
        m_ledger.endedAll();
    } else if (what < 72) {
        const bool on = m_dice.chance(40);
        m_ledger.happenings.skips += on ? 1 : 0;
        m_host->setSkipping(on);
    } else if (what < 75) {
        stopAndStart();
    } else if (what < 85) {
        changeSettings();
    } else if (what < 99) {
        breakSomething();
    } else if (!m_isInSlot) {
        end();
        makeHost();
    }
}

void DeviceWorld::give()
{
    for (int i = m_dice.between(1, largestBurst); i > 0; --i) {
        const QByteArray mark = m_ledger.nextMark();
        const host::CommandOptions options = this->options();
        const quint8 code = m_dice.chance(70) ? codeWithRule : codeWithoutRule;
        const host::Ticket ticket = m_host->enqueue(
            host::makeCommand(code, subCode, mark), options, &m_context,
            [this](host::Ticket ended, const host::CommandResult &result) { noteEnd(ended, result, true); });
        m_ledger.given(ticket, mark, {}, options);
    }
}

void DeviceWorld::stopAndStart()
{
    ++m_ledger.happenings.stops;
    if (!m_host->stop().clean()) {
        m_ledger.violate("a stop was not clean");
    }
    m_ledger.endedAll();
    if (!m_host->start()) {
        m_ledger.violate("no start after a stop: " + m_host->errorString().toStdString());
    }
}

void DeviceWorld::changeSettings()
{
    bool isTaken = true;
    switch (m_dice.below(5)) {
    case 0:
        m_host->setWhileDown(m_dice.chance(50) ? host::WhileDown::Hold : host::WhileDown::FailFast);
        break;
    case 1:
        m_ledger.happenings.wasPipelined = true;
        m_host->setPipelined(m_dice.chance(50));
        break;
    case 2:
        isTaken = m_host->setSettleTime(m_dice.below(100));
        break;
    case 3:
        isTaken = m_host->setDefaultWaitTime(m_dice.between(50, 600));
        break;
    default:
        isTaken = m_host->setReconnectInterval(m_dice.between(50, 1500));
        break;
    }
    if (!isTaken) {
        m_ledger.violate("a setting was refused");
    }
}

void DeviceWorld::breakSomething()
{
    const int kinds = testkit::faultKinds;
    const int what = m_dice.below(kinds + 2);
    ++m_ledger.happenings.outages;
    if (what < kinds) {
        m_device.failNext(static_cast<testkit::FaultKind>(what), m_dice.between(1, 3));
    } else {
        m_device.setPower(what == kinds);
    }
}

void DeviceWorld::noteWrite(const QByteArray &frame)
{
    const host::Decoded decoded = m_codec.decode(frame);
    for (const model_Protocoldata &record : decoded.records) {
        const int inFlight = m_host->pending() - m_host->waiting();
        m_ledger.written(record.baData, inFlight,
                         m_ledger.happenings.wasPipelined ? mostInFlightPipelined : mostInFlight);
    }
}

void DeviceWorld::noteEnd(host::Ticket ticket, const host::CommandResult &result, bool isCallback)
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

void DeviceWorld::check()
{
    m_ledger.check(m_host->counters(), m_host->pending(), m_host->waiting());
}

void DeviceWorld::repair()
{
    m_device.setPower(true);
    m_host->setSkipping(false);
    if (!m_host->setReconnectInterval(500)) {
        m_ledger.violate("a setting was refused");
    }
}

} // namespace biz::kit_seeds
