#include "dimmer.h"

namespace {

using namespace biz;

// The display's command that takes a value, and for how long a value is worth sending.
constexpr quint8 command = 0xF1;
constexpr quint8 brightness = 0x08;
constexpr std::chrono::seconds worthSending{30};

} // namespace

Dimmer::Dimmer(std::unique_ptr<host::DeviceLink> link)
{
    m_host.setWhileDown(host::WhileDown::Hold);
    if (!m_host.setModel("A2") || !m_host.setLink(std::move(link))) {
        m_trouble = m_host.errorString();
    }
    connect(&m_host, &host::DeviceHost::linkStateChanged, this, [this](const host::LinkStatus &status) {
        m_trouble = status.state == host::LinkState::Lost ? "the display is away" : "";
    });
}

void Dimmer::setBrightness(int percent)
{
    host::CommandOptions options;
    options.replaceKey = "brightness";
    options.validFor = worthSending;
    const QByteArray value(1, static_cast<char>(percent));
    if (m_host.enqueue(host::makeCommand(command, brightness, value), options, this,
                       [this, percent](host::Ticket, const auto &result) { noteEnd(percent, result); }) == 0) {
        m_trouble = m_host.errorString();
    }
}

void Dimmer::noteEnd(int percent, const host::CommandResult &result)
{
    switch (result.outcome) {
    case host::Outcome::Answered:
        m_confirmed = percent;
        m_trouble.clear();
        break;
    case host::Outcome::GaveUp:
    case host::Outcome::Unreachable:
    case host::Outcome::Expired:
        m_trouble = "brightness was not confirmed: " + result.reason;
        break;
    case host::Outcome::Superseded: // a newer value is on its way
    case host::Outcome::Cleared:
    case host::Outcome::Skipped:
    case host::Outcome::Stopped:
    case host::Outcome::Released:
    case host::Outcome::Cancelled:
    case host::Outcome::Interrupted:
        break;
    }
}
