#ifndef BIZ_MONITOR_LINE_SOURCE_H
#define BIZ_MONITOR_LINE_SOURCE_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace biz::monitor {

/** Where the lines of a log come from. */
class LineSource
{
public:
    LineSource() = default;
    virtual ~LineSource() = default;
    LineSource(const LineSource &) = delete;
    LineSource &operator=(const LineSource &) = delete;

    /** The next line without its end; false when there is none now. */
    virtual bool next(QByteArray *line) = 0;

    /** As people know it: "/var/log/wall/events.jsonl". */
    virtual QString name() const = 0;

    /** Why no lines come, in a sentence; empty while all is well. */
    virtual QString problem() const = 0;
};

} // namespace biz::monitor

#endif
