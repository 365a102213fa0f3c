#ifndef BIZ_MONITOR_TIME_AXIS_H
#define BIZ_MONITOR_TIME_AXIS_H

#include <QtCore/QObject>

#include <report/drawing/scale.h>

namespace biz::monitor {

/** The stretch of time that all plots of a device show: it goes along with the log, or stands still. */
class TimeAxis : public QObject
{
    Q_OBJECT

public:
    static constexpr double shortestMs = 1000.0;
    static constexpr double longestMs = 24.0 * 60.0 * 60.0 * 1000.0;
    static constexpr double usualMs = 60.0 * 1000.0;

    using QObject::QObject;

    /** The end of the log, as time goes on. */
    void setNow(double nowMs);

    void setLength(double lengthMs);
    double lengthMs() const { return m_lengthMs; }

    bool isFollowing() const { return m_isFollowing; }
    void setFollowing(bool isFollowing);

    /** Goes back by a share of what is shown, or on where it is negative; at the log's end it follows again. */
    void goBack(double share);

    /** Shows less or more, around a place that is a share of the way from the left. */
    void zoom(double factor, double around = 1.0);

    report::Stretch stretch() const { return {m_endMs - m_lengthMs, m_endMs}; }

Q_SIGNALS:
    void changed();
    void followingChanged(bool isFollowing);

private:
    void setEnd(double endMs);

    double m_nowMs = 0.0;
    double m_endMs = 0.0;
    double m_lengthMs = usualMs;
    bool m_isFollowing = true;
};

} // namespace biz::monitor

#endif
