#ifndef BIZ_MONITOR_REPORT_SAVER_H
#define BIZ_MONITOR_REPORT_SAVER_H

#include <optional>
#include <thread>
#include <vector>

#include <QtCore/QObject>

#include <history/history.h>

namespace biz::monitor {

/** Makes reports beside the window's thread, one after the other in the order in which they were asked for. */
class ReportSaver : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /** Waits until every report that was asked for has been made. */
    ~ReportSaver() override;

    /** Of a path that is waiting already, only the later report is made. */
    void save(const history::History &history, const QString &path);

Q_SIGNALS:
    void saved(const QString &path);
    void failed(const QString &why);

protected:
    /** Comes when the report is made: the worker's join() hands over, which a thread sanitizer sees. */
    void customEvent(QEvent *event) override;

private:
    struct Wanted
    {
        history::History history;
        QString path;
    };

    void beginNext();
    void make();

    std::vector<Wanted> m_waiting;
    std::optional<Wanted> m_made; ///< the worker's until it has ended, like the next
    QString m_problem;            ///< why the report could not be written; empty when it was
    std::thread m_worker;
};

} // namespace biz::monitor

#endif
