#include <biz_console/output/junit_sink.h>

#include <algorithm>

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

void startCase(QXmlStreamWriter &xml, const QString &suite, const QString &name)
{
    xml.writeStartElement(QStringLiteral("testcase"));
    writeAttribute(xml, "classname", suite);
    writeAttribute(xml, "name", name);
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
    const auto isFailure = [&end](const Case &each) {
        return !each.isAsExpected() && !(end.endedOnRequest && each.wasStopped());
    };
    const auto isMismatch = [](const Case &each) {
        return !each.isAsExpected() && !each.wasStopped();
    };
    const qint64 failures = std::count_if(m_cases.begin(), m_cases.end(), isFailure);
    const qint64 moreMismatches = end.mismatchCount - std::count_if(m_cases.begin(), m_cases.end(), isMismatch);
    const int isWithRest = m_casesNotKept > 0 ? 1 : 0;
    QXmlStreamWriter xml(&m_device);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("testsuite"));
    writeAttribute(xml, "name", m_suite);
    writeAttribute(xml, "hostname", m_target);
    writeAttribute(xml, "timestamp", m_utc.toString(Qt::ISODate));
    writeAttribute(xml, "time", secondsText(end.summary.seconds * tools::millisecondsPerSecond));
    writeAttribute(xml, "tests", QString::number(static_cast<qint64>(m_cases.size()) + 1 + isWithRest));
    writeAttribute(xml, "failures", QString::number(failures + (moreMismatches > 0 ? isWithRest : 0)));
    writeAttribute(xml, "errors", QString::number(end.endedEarly ? 1 : 0));
    for (const Case &each : m_cases) {
        writeCase(xml, each, end.endedOnRequest);
    }
    if (m_casesNotKept > 0) {
        writeRest(xml, end, moreMismatches);
    }
    startCase(xml, m_suite, QStringLiteral("the run came to its end"));
    if (end.endedEarly) {
        writeProblem(xml, "error", m_problem);
    }
    xml.writeEndElement();
    xml.writeEndDocument();
}

void JunitSink::writeCase(QXmlStreamWriter &xml, const Case &told, bool isStopWanted) const
{
    startCase(xml, m_suite, told.name);
    writeAttribute(xml, "time", secondsText(told.roundTripMs));
    if (isStopWanted && told.wasStopped()) {
        xml.writeEmptyElement(QStringLiteral("skipped"));
    } else if (!told.isAsExpected()) {
        writeProblem(xml, "failure",
                     QStringLiteral("expected %1, was %2 (%3)")
                         .arg(endingText(told.expected.outcome, told.expected.events),
                              endingText(told.outcome, told.events), told.reason));
    }
    xml.writeEndElement();
}

/** The commands that have no case of their own have one together. */
void JunitSink::writeRest(QXmlStreamWriter &xml, const RunEnd &end, qint64 mismatches) const
{
    startCase(xml, m_suite, QStringLiteral("%1 commands more").arg(m_casesNotKept));
    if (mismatches > 0) {
        writeProblem(xml, "failure",
                     QStringLiteral("%1 of them did not end as expected, %2 of all")
                         .arg(QString::number(mismatches), QString::number(end.mismatchCount)));
    }
    xml.writeEndElement();
}

} // namespace biz::console
