#ifndef DIMMER_H
#define DIMMER_H

#include <memory>

#include <QtCore/QObject>

#include <host/device_host.h>

/** The application under test: keeps a display's brightness at what a slider asks for, and says how that goes. */
class Dimmer : public QObject
{
    Q_OBJECT

public:
    explicit Dimmer(std::unique_ptr<biz::host::DeviceLink> link);

    bool start() { return m_host.start(); }
    void stop() { m_host.stop(); }

    /** The slider has been moved. Of the values that wait, only the newest is worth sending. */
    void setBrightness(int percent);

    /** What the display has confirmed last; negative: nothing yet. */
    int confirmed() const { return m_confirmed; }

    /** What the user is told; empty: all is well. */
    QString trouble() const { return m_trouble; }

    const biz::host::DeviceHost &host() const { return m_host; }

private:
    void noteEnd(int percent, const biz::host::CommandResult &result);

    int m_confirmed = -1;
    QString m_trouble;
    biz::host::DeviceHost m_host; ///< last: its end still tells of the link and of commands, which uses the above
};

#endif
