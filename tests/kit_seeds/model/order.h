#ifndef BIZ_KIT_SEEDS_ORDER_H
#define BIZ_KIT_SEEDS_ORDER_H

#include <map>
#include <utility>
#include <vector>

#include <QtCore/QString>

#include <host/command_options.h>
#include <host/vocabulary.h>

namespace biz::kit_seeds {

/**
 * The order in which the commands of one device have to be written: urgent ones first, each kind in the order in
 * which it was given, and who takes the place of another stands where that one stood.
 */
class Order
{
public:
    /** Behind all others of its urgency. */
    void add(host::Ticket ticket, const host::CommandOptions &options);

    /** In the place of another that waits; one that is more urgent has a place of its own nevertheless. */
    void replace(host::Ticket older, host::Ticket ticket, const host::CommandOptions &options);

    /** Written, or ended. */
    void remove(host::Ticket ticket);

    void clear();

    /** Those that wait with this key, oldest first. */
    std::vector<host::Ticket> withKey(const QString &key) const;

    /** Those that have to be written before this one and are as urgent. */
    std::vector<host::Ticket> aheadOf(host::Ticket ticket) const;

    /** Urgent ones, where this one is not urgent. */
    std::vector<host::Ticket> urgentBefore(host::Ticket ticket) const;

    /** How many commands that stood here before it have their turn before it. */
    int olderAheadOf(host::Ticket ticket) const;

private:
    struct Place
    {
        bool isUrgent;
        host::Ticket position;
        QString key;
    };
    std::map<host::Ticket, Place> m_places; ///< by ticket
};

} // namespace biz::kit_seeds

#endif
