#ifndef BIZ_CONSOLE_SEND_PRINTER_H
#define BIZ_CONSOLE_SEND_PRINTER_H

#include <QtCore/QTextStream>

#include <biz_console/summary/text_output.h>
#include <biz_console/verdict/event_sink.h>

namespace biz::console {

/** Tells people how the one command of a run ended, and what had happened to it. */
class SendPrinter : public EventSink
{
public:
    explicit SendPrinter(QTextStream &out);

    void happened(const host::Event &event) override;
    void ended(const RunEnd &end) override;
    bool hasFailed() const override { return console::hasFailed(m_out); }

private:
    void printReply(const host::Event &event);
    void printHistory(const host::Event &event);

    QTextStream &m_out;
};

} // namespace biz::console

#endif
