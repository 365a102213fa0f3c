#include <biz_console/output/send_printer.h>

#include <common/hex.h>
#include <common/shown_text.h>
#include <common/units.h>

namespace biz::console {

namespace {

constexpr int bytesPerRow = 16;
constexpr int rowsShown = 8;
constexpr int durationWidth = 10;

} // namespace

SendPrinter::SendPrinter(QTextStream &out)
    : m_out(out)
{
}

void SendPrinter::happened(const host::Event &event)
{
    if (event.kind == host::EventKind::Refused) {
        const int bytes = event.bytes.value_or(0);
        m_out << counted(bytes, "received byte") << (bytes == 1 ? " was" : " were")
              << " no reply: " << tools::shownText(event.reason) << '\n';
    } else if (event.kind == host::EventKind::Foreign) {
        m_out << "a reply came that belongs to no command: " << tools::hexText(event.head) << '\n';
    } else if (event.kind == host::EventKind::Failed) {
        m_out << "socket: " << tools::shownText(event.reason) << '\n';
    } else if (host::outcomeOf(event.kind)) {
        m_out << eventName(event.kind) << ": " << tools::shownText(event.reason) << '\n';
        if (event.kind == host::EventKind::Answered) {
            printReply(event);
        }
        printHistory(event);
    }
    m_out.flush();
}

void SendPrinter::printReply(const host::Event &event)
{
    m_out << "reply\n  head  " << tools::hexText(event.head) << '\n';
    if (!event.text.isEmpty()) {
        m_out << "  text  " << tools::shownText(event.text) << '\n';
    }
    const int shown = qMin(static_cast<int>(event.data.size()), bytesPerRow * rowsShown);
    for (int first = 0; first < shown; first += bytesPerRow) {
        m_out << (first == 0 ? "  data  " : "        ") << tools::hexText(event.data.mid(first, bytesPerRow)) << '\n';
    }
    if (shown < event.data.size()) {
        m_out << "        and " << counted(event.data.size() - shown, "byte") << " more; --json shows all\n";
    }
}

void SendPrinter::printHistory(const host::Event &event)
{
    m_out << "history\n";
    for (const host::CommandEvent &step : event.history) {
        m_out << tools::millisecondsText(step.atMs).rightJustified(durationWidth) << "  " << tools::shownText(step.text)
              << '\n';
    }
}

void SendPrinter::ended(const RunEnd &end)
{
    if (!end.summary.errorLog.isEmpty()) {
        m_out << "error log  " << tools::shownText(end.summary.errorLog) << '\n';
    }
    m_out.flush();
}

} // namespace biz::console
