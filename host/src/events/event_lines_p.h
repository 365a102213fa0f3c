#ifndef BIZ_HOST_EVENT_LINES_P_H
#define BIZ_HOST_EVENT_LINES_P_H

#include <events/json_lines_p.h>
#include <host/event.h>

namespace biz::host {

/** Adds the event's line; `more` are further keys, which come last. */
void write(JsonLines &lines, const Event &event, const QJsonObject &more = {});

} // namespace biz::host

#endif
