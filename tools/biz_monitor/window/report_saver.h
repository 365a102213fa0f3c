#ifndef BIZ_MONITOR_REPORT_SAVER_H
#define BIZ_MONITOR_REPORT_SAVER_H

#include <memory>
#include <vector>

#include <QtCore/QObject>
#include <QtCore/QThread>

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

private:
    struct Wanted
    {
        history::History history;
        QString path;
    };

    void beginNext();
    void finish(const QString &path, const QString &why);

    std::unique_ptr<QThread> m_worker;
    std::vector<Wanted> m_waiting;
};

} // namespace biz::monitor

#endif
