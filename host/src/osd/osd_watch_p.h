#ifndef BIZ_HOST_OSD_WATCH_P_H
#define BIZ_HOST_OSD_WATCH_P_H

#include <functional>
#include <set>
#include <utility>
#include <vector>

#include <QtCore/QTimer>

#include <osd/osd_commands_p.h>

namespace biz::host {

/** Finds out which commands the channel has given up, which it tells nobody: it frees their devices. */
class OsdWatch
{
public:
    /** `look` is called when a command may be overdue; it calls endOverdue(). `free` has the channel free a device. */
    OsdWatch(OsdCommands *commands, const std::function<void()> &look, std::function<void(const OsdCommand &)> free,
             QObject *host);

    /** A command is in flight from now on. */
    void add(const OsdCommand &command);

    /** Returns the devices whose commands have ended so. */
    std::vector<OsdDevice *> endOverdue();

private:
    using Due = std::pair<TimePoint, Ticket>;

    static Due dueOf(const OsdCommand &command);

    void freeForgotten();
    bool hasHadItsTime(const OsdCommand &command) const;
    QStringList devicesToLookAt();
    void schedule();

    OsdCommands *const m_commands;
    const std::function<void(const OsdCommand &)> m_free;
    QTimer m_timer;
    std::set<Due> m_due; ///< of each command in flight, the earliest that it can be given up
    TimePoint m_lastFullLook{};
};

} // namespace biz::host

#endif
