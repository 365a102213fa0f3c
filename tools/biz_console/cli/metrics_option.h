#ifndef BIZ_CONSOLE_METRICS_OPTION_H
#define BIZ_CONSOLE_METRICS_OPTION_H

#include <functional>

#include <QtCore/QCommandLineParser>
#include <QtCore/QTimer>

#include <biz_console/cli/file_names.h>
#include <biz_console/cli/output.h>
#include <host/metrics.h>

namespace biz::console {

/** --metrics. */
void addMetricsOption(QCommandLineParser &parser);

/**
 * The file of --metrics, written at the start of a run, every ten seconds, and at its end; none without the option. A
 * file that cannot be written later on is told once, and tried again.
 */
class MetricsFile
{
public:
    /** Throws UsageError when something else has the file. */
    MetricsFile(const QCommandLineParser &parser, const Output &output, FileNames &names);

    /** A file that cannot be written at once is an InputError. The run has to outlive finish(). */
    void start(std::function<host::HostMetrics()> metrics);
    void finish();

private:
    void write() const;
    void tryToWrite();

    QString m_path;
    QTextStream &m_err;
    std::function<host::HostMetrics()> m_metrics;
    QTimer m_timer;
    bool m_hasFailed = false;
};

} // namespace biz::console

#endif
