#include <history/reading/open_commands.h>

namespace biz::history {

const CommandPlace *OpenCommands::find(quint64 ticket) const
{
    const auto known = m_places.constFind(ticket);
    return known == m_places.constEnd() ? nullptr : &*known;
}

void OpenCommands::add(quint64 ticket, const CommandPlace &place)
{
    m_places.insert(ticket, place);
    m_hadAny = true;
}

void OpenCommands::forgetEarly(Device &device, int place, std::size_t kept)
{
    if (device.commands.size() < 2 * kept) {
        return; // the half that is older goes at once, so that this costs little for each
    }
    const std::size_t early = device.commands.size() - kept;
    std::size_t staying = 0;
    for (std::size_t from = 0; from < device.commands.size(); ++from) {
        const Command &command = device.commands[from];
        const auto known = m_places.find(command.ticket);
        const bool isOfRun = known != m_places.end() && known->device == place && known->command == from;
        const bool mayEnd = isOfRun && !command.hasEnded;
        if (from >= early || (mayEnd && staying < kept / 2)) {
            if (isOfRun) {
                known->command = staying;
            }
            device.commands[staying++] = command;
            continue;
        }
        device.forgotten.count(command);
        if (isOfRun) {
            m_places.erase(known);
        }
        if (mayEnd && device.openCommands > 0) {
            --device.openCommands;
        }
    }
    device.commands.resize(staying);
}

} // namespace biz::history
