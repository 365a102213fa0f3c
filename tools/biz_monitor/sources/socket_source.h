#ifndef BIZ_MONITOR_SOCKET_SOURCE_H
#define BIZ_MONITOR_SOCKET_SOURCE_H

#include <QtCore/QTimer>
#include <QtNetwork/QLocalSocket>

#include <biz_monitor/sources/line_source.h>

namespace biz::monitor {

/** A local socket on which an application serves its event log; connects again when the application comes back. */
class SocketSource : public LineSource
{
public:
    explicit SocketSource(const QString &socket);

    bool next(QByteArray *line) override;
    QString name() const override { return m_name; }
    QString problem() const override;

private:
    void connectAgain();
    bool takeLine(QByteArray *line);

    QString m_name;
    QLocalSocket m_socket;
    QTimer m_retry;
    QByteArray m_read;
    int m_taken = 0; ///< bytes of it
    bool m_isTooLong = false;
};

} // namespace biz::monitor

#endif
