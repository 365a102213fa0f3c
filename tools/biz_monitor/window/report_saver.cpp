#include <biz_monitor/window/report_saver.h>

#include <QtCore/QDateTime>

#include <common/files/output_file.h>
#include <report/report_page.h>

namespace biz::monitor {

namespace {

/** Why it could not be written; empty when it was. */
QString write(const history::History &history, const QString &path)
{
    const report::Maker maker{QStringLiteral("biz_monitor " BIZ_VERSION),
                              static_cast<double>(QDateTime::currentMSecsSinceEpoch())};
    const QByteArray page = report::reportPage(history, history::findingsOf(history), maker);
    return tools::writeOutputFile(path, page);
}

} // namespace

ReportSaver::~ReportSaver()
{
    if (m_worker) {
        m_worker->wait();
    }
}

void ReportSaver::save(const history::History &history, const QString &path)
{
    if (isBusy()) {
        return;
    }
    const auto why = std::make_shared<QString>();
    m_worker.reset(QThread::create([history, path, why] { *why = write(history, path); }));
    connect(m_worker.get(), &QThread::finished, this, [this, path, why] { finish(path, *why); });
    m_worker->start();
}

void ReportSaver::finish(const QString &path, const QString &why)
{
    m_worker->wait();
    m_worker.release()->deleteLater(); // its own signal is being handled
    if (why.isEmpty()) {
        Q_EMIT saved(path);
    } else {
        Q_EMIT failed(why);
    }
}

} // namespace biz::monitor
