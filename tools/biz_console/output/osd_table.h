#ifndef BIZ_CONSOLE_OSD_TABLE_H
#define BIZ_CONSOLE_OSD_TABLE_H

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <biz_console/output/summary.h>

namespace biz::console {

/** What one device, or several together, came to. */
struct OsdTableRow
{
    QString device;
    quint64 sent = 0;
    quint64 answered = 0;
    quint64 timedOut = 0;
    int waiting = 0;
    RoundTrips roundTrips;
    double lastAnswerSeconds = 0.0; ///< since the first command of the run was sent

    /** Whether every command given to it was answered. */
    bool allAnswered() const { return waiting == 0 && answered == sent; }
};

/** With more devices than this, those of which every command was answered share a row. */
constexpr int devicesShownEach = 20;

/** The lines of the table; `showAll` gives every device a row of its own. */
QStringList osdTable(const QVector<OsdTableRow> &rows, bool showAll);

} // namespace biz::console

#endif
