#ifndef BIZ_CONSOLE_JSON_SINK_H
#define BIZ_CONSOLE_JSON_SINK_H

#include <QtCore/QJsonObject>
#include <QtCore/QTextStream>

#include <biz_console/summary/text_output.h>
#include <biz_console/verdict/event_sink.h>

namespace biz::console {

/**
 * Writes a run as JSON in UTF-8: an object a line for its start, for each event and for its
 * summary. A key whose value an event does not have is left out.
 */
class JsonSink : public EventSink
{
public:
    /** Without `events` the start and the summary are all that is written. */
    JsonSink(QTextStream &out, bool events);

    void started(const RunStart &run) override;
    void happened(const host::Event &event) override;
    void given(const host::Event &event, const Expectation &expected) override;
    void brokeOff(const host::Event &event, RunProblem problem) override;
    void ended(const RunEnd &end) override;
    bool hasFailed() const override { return console::hasFailed(m_out); }

private:
    void tell(const host::Event &event, const QJsonObject &more);
    bool tellsOfOutage(const host::Event &event);
    void line(const QByteArray &json);

    QTextStream &m_out;
    bool m_events;
    bool m_isLinkLost = false;
};

} // namespace biz::console

#endif
