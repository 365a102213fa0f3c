#include <biz_console/cli/metrics_option.h>

#include <chrono>

#include <QtCore/QFileInfo>

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

MetricsFile::MetricsFile(const QCommandLineParser &parser, const Output &output)
    : m_err(output.err)
{
    if (parser.isSet(metricsOption())) {
        // --log-dir changes the working directory later on.
        m_path = QFileInfo(parser.value(metricsOption())).absoluteFilePath();
    }
}

void MetricsFile::start(std::function<host::HostMetrics()> metrics)
{
    if (m_path.isEmpty()) {
        return;
    }
    m_metrics = std::move(metrics);
    QString error;
    if (!write(&error)) {
        throw tools::InputError(QStringLiteral("--metrics: ") + error);
    }
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

bool MetricsFile::write(QString *error) const
{
    return host::writeMetrics(m_path, {m_metrics()}, error);
}

void MetricsFile::tryToWrite()
{
    QString error;
    const bool hasFailed = !write(&error);
    if (hasFailed && !m_hasFailed) {
        m_err << "biz_console: --metrics: " << error << '\n';
        m_err.flush();
    }
    m_hasFailed = hasFailed;
}

} // namespace biz::console
