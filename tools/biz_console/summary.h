#ifndef BIZ_CONSOLE_SUMMARY_H
#define BIZ_CONSOLE_SUMMARY_H

#include <vector>

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <host/command_result.h>

namespace biz::console {

/** "12.3 ms"; "-" for a negative time. */
QString millisecondsText(double milliseconds);

/** The round trips of a run. */
class RoundTrips
{
public:
    void add(double milliseconds) { m_milliseconds.push_back(milliseconds); }
    void add(const RoundTrips &others);

    /** The middle one, of an even number the mean of the two in the middle; negative without any. */
    double median() const;
    double maximum() const;

private:
    std::vector<double> m_milliseconds;
};

/** What a run comes to. */
struct Summary
{
    host::Counters counters;
    bool isOfDevice = true; ///< the OSD channel neither judges replies nor resends
    RoundTrips roundTrips;
    double seconds = 0.0; ///< from the first command sent to the last end
    QString errorLog;     ///< the path of the day's file; empty when nothing was logged

    /** The closing lines. */
    QStringList lines() const;
};

/** The error log of today below a folder, whether it exists or not. */
QString errorLogOfToday(const QString &folder);

} // namespace biz::console

#endif
