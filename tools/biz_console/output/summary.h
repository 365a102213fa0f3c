#ifndef BIZ_CONSOLE_SUMMARY_H
#define BIZ_CONSOLE_SUMMARY_H

#include <random>
#include <vector>

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <host/counters.h>

namespace biz::console {

/** Round trips in bounded memory: of many, the median is that of a random sample. */
class RoundTrips
{
public:
    void add(double milliseconds);
    void add(const RoundTrips &others);

    /** The middle one, of an even number the mean of the two in the middle; negative without any. */
    double median() const;
    double maximum() const { return m_maximum; }

private:
    std::vector<double> m_sample;
    double m_maximum = -1.0;
    quint64 m_count = 0;
    std::minstd_rand m_random;
};

/** What a run comes to. */
struct Summary
{
    host::Counters counters;
    bool isOfDevice = true; ///< the OSD channel neither judges replies nor resends
    double seconds = 0.0;   ///< from the first command sent to the last end
    QString errorLog;       ///< the path of the day's file; empty when nothing was logged

    /** The closing lines. */
    QStringList lines() const;
};

/** The error log of today below a folder, whether it exists or not. */
QString errorLogOfToday(const QString &folder);

} // namespace biz::console

#endif
