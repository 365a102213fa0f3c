#include "device_host_recorder.h"

#include <algorithm>

#include <QtCore/QThread>

#include <gtest/gtest.h>

namespace biz::test {

using host::CommandResult;
using host::DeviceHost;
using host::LinkStatus;
using host::ReplyJudgement;
using host::Ticket;

namespace {

DeviceHostRecorder::Event eventOf(const char *signal, Ticket ticket = 0, const model_Protocoldata &record = {})
{
    DeviceHostRecorder::Event event;
    event.signal = QString::fromLatin1(signal);
    event.ticket = ticket;
    event.record = record;
    return event;
}

} // namespace

void DeviceHostRecorder::attach(DeviceHost &deviceHost)
{
    m_host = &deviceHost;
    const auto on = [this, &deviceHost](auto signal, auto slot) {
        QObject::connect(&deviceHost, signal, &m_context, slot, Qt::DirectConnection);
    };
    on(&DeviceHost::sent, [this](Ticket ticket, int attempt, const model_Protocoldata &command) {
        Event event = eventOf("sent", ticket, command);
        event.attempt = attempt;
        add(event);
    });
    on(&DeviceHost::ended, [this](Ticket ticket, const CommandResult &result) {
        m_ends[ticket].push_back(result);
        Event event = eventOf("ended", ticket, result.reply);
        event.attempt = result.attempts;
        event.result = result;
        event.why = result.reason;
        add(event);
    });
    on(&DeviceHost::queueSize, [this](int waiting) {
        Event event = eventOf("queueSize");
        event.number = waiting;
        add(event);
    });
    on(&DeviceHost::linkStateChanged, [this](const LinkStatus &status) {
        Event event = eventOf("linkStateChanged");
        event.link = status;
        event.why = status.reason;
        add(event);
    });
    attachReplies(deviceHost);
}

void DeviceHostRecorder::attachReplies(DeviceHost &deviceHost)
{
    const auto on = [this, &deviceHost](auto signal, auto slot) {
        QObject::connect(&deviceHost, signal, &m_context, slot, Qt::DirectConnection);
    };
    on(&DeviceHost::rejected, [this](Ticket ticket, const model_Protocoldata &reply, const ReplyJudgement &judgement) {
        Event event = eventOf("rejected", ticket, reply);
        event.judgement = judgement;
        event.why = judgement.broken;
        add(event);
    });
    on(&DeviceHost::late, [this](Ticket ticket, const model_Protocoldata &reply, double afterEndMs) {
        Event event = eventOf("late", ticket, reply);
        event.afterEndMs = afterEndMs;
        add(event);
    });
    on(&DeviceHost::duplicate,
       [this](Ticket ticket, const model_Protocoldata &reply) { add(eventOf("duplicate", ticket, reply)); });
    on(&DeviceHost::foreign, [this](const model_Protocoldata &reply) { add(eventOf("foreign", 0, reply)); });
    on(&DeviceHost::refused, [this](int bytes, const QString &why) {
        Event event = eventOf("refused");
        event.number = bytes;
        event.why = why;
        add(event);
    });
}

void DeviceHostRecorder::add(const Event &event)
{
    EXPECT_FALSE(m_insideCall) << event.signal.toStdString() << " left inside a call of the host";
    EXPECT_TRUE(mayNest || !m_insideSlot) << event.signal.toStdString() << " left inside another signal's slot";
    EXPECT_EQ(QThread::currentThread(), m_host->thread()) << event.signal.toStdString();
    m_events.push_back(event);
    const QScopedValueRollback<bool> inside(m_insideSlot, true);
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

int DeviceHostRecorder::count(host::LinkState state) const
{
    const auto changes = of(QStringLiteral("linkStateChanged"));
    return static_cast<int>(std::count_if(changes.begin(), changes.end(),
                                          [state](const Event &event) { return event.link.state == state; }));
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
