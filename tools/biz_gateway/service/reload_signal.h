#ifndef BIZ_GATEWAY_RELOAD_SIGNAL_H
#define BIZ_GATEWAY_RELOAD_SIGNAL_H

#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>

namespace biz::gateway {

/** Turns SIGHUP into a Qt signal. One object per process, made after tools::StopSignals, which it outdoes. */
class ReloadSignal : public QObject
{
    Q_OBJECT

public:
    explicit ReloadSignal(QObject *parent = nullptr);
    ~ReloadSignal() override;

Q_SIGNALS:
    void reloadRequested();

private:
    QSocketNotifier *m_notifier = nullptr;
};

} // namespace biz::gateway

#endif
