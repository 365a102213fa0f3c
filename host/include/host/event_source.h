#ifndef BIZ_HOST_EVENT_SOURCE_H
#define BIZ_HOST_EVENT_SOURCE_H

#include <memory>

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonObject>
#include <QtCore/QObject>

#include <host/event.h>
#include <host/host_export.h>

namespace biz::host {

class DeviceHost;
class OsdHost;

/**
 * Tells everything that happens in a host as Events, in its order. Who tells of something else, as of many
 * hosts at once, derives from it.
 *
 * `Given` and `Writing` are told at the moment itself, inside of the host's calls, and who listens does not call
 * the host from there. The others leave with the host's signals, and a listener may call the host; whoever
 * listens to the same source beside it then hears of that first. Of a DeviceFleet all events leave with its signals.
 * Listeners connect directly.
 *
 * It lives on the host's thread, and may outlive the host.
 */
class BIZ_HOST_EXPORT EventSource : public QObject
{
    Q_OBJECT

public:
    explicit EventSource(QObject *parent = nullptr);
    ~EventSource() override;

    /** What is told of, as keys of the `start` line: "channel", "link"... */
    virtual QJsonObject about() const = 0;

    /** How things stand, as keys of the `state` line: "state", "waiting", "counters"... */
    virtual QJsonObject state() const = 0;

    /** The two lines that a new reader is given first. */
    QByteArray headLines() const;

    /** The event with the time that it is now. */
    Event timed(Event event) const;

Q_SIGNALS:
    void happened(const biz::host::Event &event);

protected:
    /** Fills in the times. */
    void tell(Event event);

private:
    QElapsedTimer m_sinceStart;
    qint64 m_startUtcMs;
};

/** What this process runs with, as keys of the `start` line: "library", "environment". */
BIZ_HOST_EXPORT QJsonObject versionKeys();

BIZ_HOST_EXPORT std::unique_ptr<EventSource> eventsOf(DeviceHost *host);
BIZ_HOST_EXPORT std::unique_ptr<EventSource> eventsOf(OsdHost *host);

} // namespace biz::host

#endif
