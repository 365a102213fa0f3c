#ifndef BIZ_TOOLS_STOP_SIGNALS_H
#define BIZ_TOOLS_STOP_SIGNALS_H

#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>

namespace biz::tools {

/**
 * Turns SIGINT and SIGTERM into a Qt signal on the thread of the object. The second one of
 * a kind ends the process at once, as if nobody had asked for them. One object per process.
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
