#ifndef BIZ_REPORT_TIMELINE_H
#define BIZ_REPORT_TIMELINE_H

#include <vector>

#include <QtCore/QStringList>

#include <history/findings/findings.h>
#include <report/drawing/scale.h>

namespace biz::report {

/** How much a timeline may hold before it is thinned. */
struct TimelineLimits
{
    int rows = 40;
    int bars = 3000;
};

/** A drawing, and what it leaves out, in sentences. */
struct Drawing
{
    QString markup;
    QStringList notes;
    bool showsWaiting = false; ///< a thin line before a bar: the command waited to be sent
};

/** What is drawn: a history, what was found in it, and the stretch of time. */
struct Scene
{
    const history::History &history;
    const std::vector<history::Finding> &findings;
    Stretch stretch;
};

/** A row for each device, with its commands as bars, what happened to them as marks, and its outages. */
Drawing timeline(const Scene &scene, const TimelineLimits &limits);

/** What the looks and the marks of a timeline mean, for those that occur. */
QString legend(const history::History &history, bool showsWaiting);

} // namespace biz::report

#endif
