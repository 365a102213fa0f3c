#ifndef BIZ_HOST_COMMAND_TAP_P_H
#define BIZ_HOST_COMMAND_TAP_P_H

#include <algorithm>
#include <vector>

#include <host/command_options.h>
#include <host/vocabulary.h>

namespace biz::host {

/**
 * Hears of commands where it happens, inside of a call of the host: before a command is written, and not in
 * a later turn of the event loop. It calls nothing of the host.
 */
template<typename Record>
class CommandTap
{
public:
    CommandTap() = default;
    virtual ~CommandTap() = default;
    CommandTap(const CommandTap &) = delete;
    CommandTap &operator=(const CommandTap &) = delete;

    virtual void onGiven(Ticket ticket, const Record &command, const CommandOptions &options) = 0;
    virtual void onWriting(Ticket ticket, int attempt, const Record &command) = 0;
};

/** The taps of one host. */
template<typename Record>
class CommandTaps
{
public:
    void add(CommandTap<Record> *tap) { m_taps.push_back(tap); }
    void remove(CommandTap<Record> *tap) { m_taps.erase(std::remove(m_taps.begin(), m_taps.end(), tap), m_taps.end()); }

    void tellGiven(Ticket ticket, const Record &command, const CommandOptions &options) const
    {
        for (CommandTap<Record> *tap : m_taps) {
            tap->onGiven(ticket, command, options);
        }
    }

    void tellWriting(Ticket ticket, int attempt, const Record &command) const
    {
        for (CommandTap<Record> *tap : m_taps) {
            tap->onWriting(ticket, attempt, command);
        }
    }

private:
    std::vector<CommandTap<Record> *> m_taps;
};

} // namespace biz::host

#endif
