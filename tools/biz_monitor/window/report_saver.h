#ifndef BIZ_MONITOR_REPORT_SAVER_H
#define BIZ_MONITOR_REPORT_SAVER_H

#include <memory>

#include <QtCore/QObject>
#include <QtCore/QThread>

#include <history/history.h>

namespace biz::monitor {

/** Makes reports beside the window's thread, one at a time. */
class ReportSaver : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /** Waits for a report that is being made. */
    ~ReportSaver() override;

    bool isBusy() const { return m_worker != nullptr; }

    void save(const history::History &history, const QString &path);

Q_SIGNALS:
    void saved(const QString &path);
    void failed(const QString &why);

private:
    void finish(const QString &path, const QString &why);

    std::unique_ptr<QThread> m_worker;
};

} // namespace biz::monitor

#endif
