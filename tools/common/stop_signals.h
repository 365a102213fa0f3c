#ifndef BIZ_TOOLS_STOP_SIGNALS_H
#define BIZ_TOOLS_STOP_SIGNALS_H

#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>

namespace biz::tools {

/**
 * Turns SIGINT, SIGTERM and SIGHUP, unless that is ignored, into a Qt signal on the thread of the object. One that
 * comes again half a second later or more ends the process at once, as if nobody had asked for them; within that time
 * it is the same wish, since `timeout` signals the process and then its group. One object per process.
 */
class StopSignals : public QObject
{
    Q_OBJECT

public:
    explicit StopSignals(QObject *parent = nullptr);
    ~StopSignals() override;

Q_SIGNALS:
    void stopRequested();

private:
    QSocketNotifier *m_notifier = nullptr;
};

} // namespace biz::tools

#endif
