#include <biz_monitor/window/report_saver.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QEvent>

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
    if (m_worker.joinable()) {
        m_worker.join();
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
    if (m_made || m_waiting.empty()) {
        return;
    }
    m_made = std::move(m_waiting.front());
    m_waiting.erase(m_waiting.begin());
    try {
        m_worker = std::thread([this] { make(); });
    } catch (const std::system_error &) {
        make(); // a window that stands still for a moment, where the system gives no thread
    }
}

void ReportSaver::make()
{
    m_problem = write(m_made->history, m_made->path);
    QCoreApplication::postEvent(this, new QEvent(QEvent::User));
}

void ReportSaver::customEvent(QEvent * /*event*/)
{
    if (m_worker.joinable()) {
        m_worker.join();
    }
    const QString path = std::exchange(m_made, std::nullopt)->path;
    const QString why = std::exchange(m_problem, {});
    beginNext();
    if (why.isEmpty()) {
        Q_EMIT saved(path);
    } else {
        Q_EMIT failed(why);
    }
}

} // namespace biz::monitor
