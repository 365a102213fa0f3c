#include "device_host_recorder.h"

#include <QtCore/QThread>

#include <gtest/gtest.h>

namespace biz::test {

using host::CommandResult;
using host::Ticket;

void DeviceHostRecorder::attach(biz_DeviceHost &deviceHost)
{
    m_host = &deviceHost;
    using Host = biz_DeviceHost;
    const auto on = [this, &deviceHost](auto signal, auto slot) {
        QObject::connect(&deviceHost, signal, &m_context, slot, Qt::DirectConnection);
    };
    on(&Host::sent, [this](Ticket ticket, int attempt, const model_Protocoldata &command) {
        add({"sent", ticket, attempt, command, {}, {}, 0, 0.0});
    });
    on(&Host::ended, [this](Ticket ticket, const CommandResult &result) {
        m_ends[ticket].push_back(result);
        add({"ended", ticket, result.attempts, result.reply, result, result.reason, 0, 0.0});
    });
    on(&Host::rejected, [this](Ticket ticket, const model_Protocoldata &reply, const QString &why) {
        add({"rejected", ticket, 0, reply, {}, why, 0, 0.0});
    });
    on(&Host::late, [this](Ticket ticket, const model_Protocoldata &reply, double afterEndMs) {
        add({"late", ticket, 0, reply, {}, {}, 0, afterEndMs});
    });
    on(&Host::duplicate, [this](Ticket ticket, const model_Protocoldata &reply) {
        add({"duplicate", ticket, 0, reply, {}, {}, 0, 0.0});
    });
    on(&Host::foreign, [this](const model_Protocoldata &reply) { add({"foreign", 0, 0, reply, {}, {}, 0, 0.0}); });
    on(&Host::refused, [this](int bytes, const QString &why) { add({"refused", 0, 0, {}, {}, why, bytes, 0.0}); });
    on(&Host::queueSize, [this](int waiting) { add({"queueSize", 0, 0, {}, {}, {}, waiting, 0.0}); });
    on(&Host::linkOpened, [this] { add({"linkOpened", 0, 0, {}, {}, {}, 0, 0.0}); });
    on(&Host::linkClosed, [this](const QString &reason) { add({"linkClosed", 0, 0, {}, {}, reason, 0, 0.0}); });
}

void DeviceHostRecorder::add(Event event)
{
    EXPECT_FALSE(m_insideCall) << event.signal.toStdString() << " left inside a call of the host";
    EXPECT_FALSE(m_insideSlot) << event.signal.toStdString() << " left inside another signal's slot";
    EXPECT_EQ(QThread::currentThread(), m_host->thread()) << event.signal.toStdString();
    m_events.push_back(event);
    const Flag inside(m_insideSlot);
    if (onSignal) {
        onSignal(event);
    }
}

std::vector<DeviceHostRecorder::Event> DeviceHostRecorder::of(const QString &signal) const
{
    std::vector<Event> matching;
    for (const Event &event : m_events) {
        if (event.signal == signal) {
            matching.push_back(event);
        }
    }
    return matching;
}

int DeviceHostRecorder::countFor(Ticket ticket, const QString &signal) const
{
    int count = 0;
    for (const Event &event : m_events) {
        count += event.ticket == ticket && event.signal == signal ? 1 : 0;
    }
    return count;
}

CommandResult DeviceHostRecorder::endOf(Ticket ticket) const
{
    const auto found = m_ends.find(ticket);
    return found == m_ends.end() ? CommandResult() : found->second.front();
}

QString DeviceHostRecorder::outcomeOf(Ticket ticket) const
{
    return hasEnded(ticket) ? host::outcomeName(endOf(ticket).outcome) : QStringLiteral("none");
}

} // namespace biz::test
