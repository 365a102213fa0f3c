#include <biz_monitor/window/report_saver.h>

#include <algorithm>

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
    for (const Wanted &wanted : m_waiting) {
        write(wanted.history, wanted.path);
    }
}

void ReportSaver::save(const history::History &history, const QString &path)
{
    const auto waiting =
        std::find_if(m_waiting.begin(), m_waiting.end(), [&path](const Wanted &wanted) { return wanted.path == path; });
    if (waiting == m_waiting.end()) {
        m_waiting.push_back({history, path});
    } else {
        waiting->history = history;
    }
    beginNext();
}

void ReportSaver::beginNext()
{
    if (m_worker || m_waiting.empty()) {
        return;
    }
    const Wanted wanted = std::move(m_waiting.front());
    m_waiting.erase(m_waiting.begin());
    const auto why = std::make_shared<QString>();
    m_worker.reset(QThread::create([wanted, why] { *why = write(wanted.history, wanted.path); }));
    connect(m_worker.get(), &QThread::finished, this, [this, path = wanted.path, why] { finish(path, *why); });
    m_worker->start();
}

void ReportSaver::finish(const QString &path, const QString &why)
{
    m_worker->wait();
    m_worker.release()->deleteLater(); // its own signal is being handled
    beginNext();
    if (why.isEmpty()) {
        Q_EMIT saved(path);
    } else {
        Q_EMIT failed(why);
    }
}

} // namespace biz::monitor
