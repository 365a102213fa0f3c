#include <biz_console/output/junit_sink.h>

#include <algorithm>

#include <QtCore/QXmlStreamWriter>

#include <common/shown_text.h>
#include <common/units.h>

namespace biz::console {

namespace {

/** Servers refuse reports that are much longer, and a run may have no end. */
constexpr std::size_t mostCases = 100'000;

QString secondsText(double milliseconds)
{
    return QString::number(std::max(0.0, milliseconds) / tools::millisecondsPerSecond, 'f', 6);
}

/** XML cannot say every character that a name may hold. */
void writeAttribute(QXmlStreamWriter &xml, const char *name, const QString &value)
{
    xml.writeAttribute(QString::fromLatin1(name), tools::shownText(value));
}

QString nameOf(const host::Event &event)
{
    const bool hasCodes = !event.codes.isEmpty() && !event.name.startsWith(event.codes);
    const QString name = hasCodes ? QStringLiteral("%1 %2").arg(event.codes, event.name) : event.name;
    return event.which.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, event.which);
}

void writeProblem(QXmlStreamWriter &xml, const char *kind, const QString &message)
{
    xml.writeStartElement(QString::fromLatin1(kind));
    writeAttribute(xml, "message", message);
    xml.writeEndElement();
}

} // namespace

JunitSink::JunitSink(QIODevice &device, QString suite)
    : m_device(device)
    , m_suite(std::move(suite))
{
}

void JunitSink::started(const RunStart &run)
{
    m_target = run.target;
    m_utc = run.utc;
}

JunitSink::Case *JunitSink::caseOf(host::Ticket ticket)
{
    const auto found = m_placeOfTicket.constFind(ticket);
    return found == m_placeOfTicket.constEnd() ? nullptr : &m_cases[*found];
}

void JunitSink::given(const host::Event &event, const Expectation &expected)
{
    if (m_cases.size() == mostCases) {
        ++m_casesNotKept;
        return;
    }
    m_placeOfTicket.insert(event.ticket, m_cases.size());
    m_cases.push_back({nameOf(event), expected, {}, {}, false, -1.0, {}});
}

void JunitSink::brokeOff(const host::Event &event, RunProblem /*problem*/)
{
    m_problem = event.reason;
}

void JunitSink::happened(const host::Event &event)
{
    Case *told = caseOf(event.ticket);
    if (told == nullptr) {
        return;
    }
    if (const auto outcome = host::outcomeOf(event.kind)) {
        told->hasEnded = true;
        told->outcome = *outcome;
        told->roundTripMs = event.roundTripMs.value_or(-1.0);
        told->reason = event.reason;
    } else if (isExpectable(event.kind)) {
        told->events.add(event.kind);
    }
}

void JunitSink::ended(const RunEnd &end)
{
    const auto failures =
        std::count_if(m_cases.begin(), m_cases.end(), [](const Case &each) { return !each.isAsExpected(); });
    QXmlStreamWriter xml(&m_device);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("testsuite"));
    writeAttribute(xml, "name", m_suite);
    writeAttribute(xml, "hostname", m_target);
    writeAttribute(xml, "timestamp", m_utc.toString(Qt::ISODate));
    writeAttribute(xml, "time", secondsText(end.summary.seconds * tools::millisecondsPerSecond));
    writeAttribute(xml, "tests", QString::number(static_cast<qint64>(m_cases.size()) + 1));
    writeAttribute(xml, "failures", QString::number(failures));
    writeAttribute(xml, "errors", QString::number(end.endedEarly ? 1 : 0));
    for (const Case &each : m_cases) {
        xml.writeStartElement(QStringLiteral("testcase"));
        writeAttribute(xml, "classname", m_suite);
        writeAttribute(xml, "name", each.name);
        writeAttribute(xml, "time", secondsText(each.roundTripMs));
        if (!each.isAsExpected()) {
            writeProblem(xml, "failure",
                         QStringLiteral("expected %1, was %2 (%3)")
                             .arg(endingText(each.expected.outcome, each.expected.events),
                                  endingText(each.outcome, each.events), each.reason));
        }
        xml.writeEndElement();
    }
    xml.writeStartElement(QStringLiteral("testcase"));
    writeAttribute(xml, "classname", m_suite);
    writeAttribute(xml, "name", QStringLiteral("the run came to its end"));
    if (end.endedEarly) {
        writeProblem(xml, "error", m_problem);
    }
    xml.writeEndElement();
    if (m_casesNotKept > 0) {
        xml.writeTextElement(QStringLiteral("system-out"),
                             QStringLiteral("%1 commands more are not listed; %2 of all did not end as expected")
                                 .arg(QString::number(m_casesNotKept), QString::number(end.mismatchCount)));
    }
    xml.writeEndDocument();
}

} // namespace biz::console
