#include <biz_console/cli/metrics_option.h>

#include <chrono>
#include <utility>

#include <biz_console/cli/command_line.h>
#include <common/errors.h>

namespace biz::console {

namespace {

constexpr std::chrono::seconds period{10};

QString metricsOption()
{
    return QStringLiteral("metrics");
}

} // namespace

void addMetricsOption(QCommandLineParser &parser)
{
    parser.addOption(
        {metricsOption(),
         QStringLiteral("Writes counters, queue, link and round trips into <file> every ten seconds, in the "
                        "Prometheus text format."),
         QStringLiteral("file")});
}

MetricsFile::MetricsFile(const QCommandLineParser &parser, const Output &output, FileNames &names)
    : m_err(output.err)
{
    if (parser.isSet(metricsOption())) {
        m_path = names.written(metricsOption(), parser.value(metricsOption()));
    }
}

void MetricsFile::start(std::function<host::HostMetrics()> metrics)
{
    if (m_path.isEmpty()) {
        return;
    }
    m_metrics = std::move(metrics);
    write();
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { tryToWrite(); });
    m_timer.start(period);
}

void MetricsFile::finish()
{
    m_timer.stop();
    if (!m_path.isEmpty()) {
        tryToWrite();
    }
}

void MetricsFile::write() const
{
    QString error;
    if (!host::writeMetrics(m_path, {m_metrics()}, &error)) {
        throw tools::InputError(QStringLiteral("--metrics: ") + error);
    }
}

void MetricsFile::tryToWrite()
{
    try {
        write();
        m_hasFailed = false;
    } catch (const tools::InputError &error) {
        if (!std::exchange(m_hasFailed, true)) {
            m_err << "biz_console: " << error.text() << '\n';
            m_err.flush();
        }
    }
}

} // namespace biz::console
