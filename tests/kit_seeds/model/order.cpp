#include <kit_seeds/model/order.h>

#include <algorithm>

namespace biz::kit_seeds {

void Order::add(host::Ticket ticket, const host::CommandOptions &options)
{
    m_places[ticket] = {options.urgent, ticket, options.replaceKey};
}

void Order::replace(host::Ticket older, host::Ticket ticket, const host::CommandOptions &options)
{
    const Place place = m_places.at(older);
    m_places.erase(older);
    if (options.urgent && !place.isUrgent) {
        add(ticket, options);
    } else {
        m_places[ticket] = place;
    }
}

void Order::remove(host::Ticket ticket)
{
    m_places.erase(ticket);
}

void Order::clear()
{
    m_places.clear();
}

std::vector<host::Ticket> Order::withKey(const QString &key) const
{
    std::vector<host::Ticket> tickets;
    for (const auto &[ticket, place] : m_places) {
        if (!key.isEmpty() && place.key == key) {
            tickets.push_back(ticket);
        }
    }
    return tickets;
}

std::vector<host::Ticket> Order::aheadOf(host::Ticket ticket) const
{
    std::vector<host::Ticket> tickets;
    const Place &own = m_places.at(ticket);
    for (const auto &[other, place] : m_places) {
        if (place.isUrgent == own.isUrgent && place.position < own.position) {
            tickets.push_back(other);
        }
    }
    return tickets;
}

std::vector<host::Ticket> Order::urgentBefore(host::Ticket ticket) const
{
    std::vector<host::Ticket> tickets;
    const bool isUrgent = m_places.at(ticket).isUrgent;
    for (const auto &[other, place] : m_places) {
        if (place.isUrgent && !isUrgent) {
            tickets.push_back(other);
        }
    }
    return tickets;
}

int Order::olderAheadOf(host::Ticket ticket) const
{
    const Place &own = m_places.at(ticket);
    return static_cast<int>(std::count_if(m_places.begin(), m_places.end(), [&own](const auto &entry) {
        const Place &place = entry.second;
        return place.position < own.position && (place.isUrgent || !own.isUrgent);
    }));
}

} // namespace biz::kit_seeds
