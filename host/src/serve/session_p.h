#ifndef BIZ_HOST_SERVE_SESSION_P_H
#define BIZ_HOST_SERVE_SESSION_P_H

#include <QtCore/QEventLoop>
#include <QtCore/QObject>

#include <host/event_source.h>
#include <host_clock_p.h>
#include <lines/line_input_p.h>
#include <lines/line_output_p.h>
#include <serve/request_ids_p.h>
#include <serve/served_host_p.h>
#include <timing_p.h>

namespace biz::host {

/** One client's session with a host, from the start of the host to its stop. */
class Session : public QObject
{
public:
    Session(ServedHost &host, EventSource &events, int input, int output);
    ~Session() override;

    int run();

private:
    void onLine(const InputLine &line);
    void perform(const Request &request, qint64 line);
    void enqueue(const Request &request, qint64 line);
    void cancel(const QString &id, qint64 line);
    void refuse(const QString &id, qint64 line, const QString &problem);

    void onEvent(const Event &event);
    void tellLost();
    void write(const Event &event, const QJsonObject &more = {});
    void tellState(EventKind kind);

    bool stop();
    void beginEnd();
    void renewDeadline();
    template<typename Condition>
    void waitUntil(Condition isDone);

    ServedHost &m_host;
    EventSource &m_events;
    LineInput m_input;
    LineOutput m_output;
    RequestIds m_ids;
    QEventLoop m_loop;
    qint64 m_linesLost = 0; ///< since the last line that could be held

    bool m_isAskedToEnd = false; ///< by the client
    TimePoint m_deadline;        ///< of the end
    qint64 m_leftAtDeadline = 0; ///< bytes that had left when the deadline was set
};

} // namespace biz::host

#endif
