#ifndef BIZ_TEST_FIGURES_H
#define BIZ_TEST_FIGURES_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

#include <unistd.h>

/** What programs that measure have in common: what the system says of a process, and sums. */
namespace biz::test {

inline QByteArray procFile(qint64 process, const char *name)
{
    QFile file(QStringLiteral("/proc/%1/%2").arg(QString::number(process), QLatin1String(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline double cpuSeconds(qint64 process)
{
    const QList<QByteArray> fields = procFile(process, "stat").split(')').last().trimmed().split(' ');
    constexpr int userTime = 11; // behind the name
    return fields.size() <= userTime + 1 ? 0.0
                                         : (fields[userTime].toDouble() + fields[userTime + 1].toDouble()) /
                                               static_cast<double>(sysconf(_SC_CLK_TCK));
}

inline double cpuSecondsOf(const std::vector<qint64> &processes)
{
    double seconds = 0.0;
    for (const qint64 process : processes) {
        seconds += cpuSeconds(process);
    }
    return seconds;
}

inline double pssMegabytes(qint64 process)
{
    const QByteArray rollup = procFile(process, "smaps_rollup");
    const int at = static_cast<int>(rollup.indexOf("\nPss:"));
    constexpr double kilobytesPerMegabyte = 1024.0;
    return at < 0 ? 0.0 : rollup.mid(at + 5, 20).trimmed().split(' ').first().toDouble() / kilobytesPerMegabyte;
}

class Sample
{
public:
    void add(double value) { m_values.push_back(value); }
    double quantile(double share)
    {
        if (m_values.empty()) {
            return 0.0;
        }
        std::sort(m_values.begin(), m_values.end());
        return m_values[std::min(m_values.size() - 1,
                                 static_cast<std::size_t>(share * static_cast<double>(m_values.size())))];
    }
    double median() { return quantile(0.5); }
    double p99() { return quantile(0.99); }
    double largest() { return quantile(1.0); }
    double sum() const
    {
        double all = 0.0;
        for (const double value : m_values) {
            all += value;
        }
        return all;
    }

private:
    std::vector<double> m_values;
};

} // namespace biz::test

#endif
