#ifndef BIZ_TESTS_HOST_DEVICE_HOST_RECORDER_H
#define BIZ_TESTS_HOST_DEVICE_HOST_RECORDER_H

#include <functional>
#include <map>
#include <vector>

#include <QtCore/QObject>
#include <QtCore/QScopedValueRollback>

#include <host/device_host.h>

namespace biz::test {

/**
 * Hears every signal of a device host, and checks what holds for all of them: they leave
 * on the object's thread, never nested, and never inside a call of the host.
 */
class DeviceHostRecorder
{
public:
    /** One signal; a member that the signal does not carry has its initial value. */
    struct Event
    {
        QString signal;
        host::Ticket ticket = 0;
        int attempt = 0;
        model_Protocoldata record;
        host::CommandResult result;
        host::ReplyJudgement judgement;
        host::LinkStatus link;
        QString why;
        int number = 0;
        double afterEndMs = 0.0;
    };

    void attach(host::DeviceHost &deviceHost);

    /** Called inside each signal's slot. */
    std::function<void(const Event &)> onSignal;

    /** A slot runs an event loop: the signals that leave from it are nested in that slot. */
    bool mayNest = false;

    /** Runs a call of the host during which no signal may leave. */
    template<typename Call>
    auto quietly(Call call)
    {
        const QScopedValueRollback<bool> inside(m_insideCall, true);
        return call();
    }

    void forget()
    {
        m_events.clear();
        m_ends.clear();
    }

    const std::vector<Event> &events() const { return m_events; }
    std::vector<Event> of(const QString &signal) const;
    int count(const QString &signal) const { return static_cast<int>(of(signal).size()); }
    int countFor(host::Ticket ticket, const QString &signal) const;

    /** How often the link has got into a state. */
    int count(host::LinkState state) const;

    /** How a command ended; an outcome that none can have while it has not. */
    bool hasEnded(host::Ticket ticket) const { return m_ends.count(ticket) != 0; }
    host::CommandResult endOf(host::Ticket ticket) const;
    QString outcomeOf(host::Ticket ticket) const;
    const std::map<host::Ticket, std::vector<host::CommandResult>> &ends() const { return m_ends; }

private:
    void attachReplies(host::DeviceHost &deviceHost);
    void add(const Event &event);

    QObject m_context;
    host::DeviceHost *m_host = nullptr;
    bool m_insideCall = false;
    bool m_insideSlot = false;
    std::vector<Event> m_events;
    std::map<host::Ticket, std::vector<host::CommandResult>> m_ends;
};

} // namespace biz::test

#endif
