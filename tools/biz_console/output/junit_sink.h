#ifndef BIZ_CONSOLE_JUNIT_SINK_H
#define BIZ_CONSOLE_JUNIT_SINK_H

#include <vector>

#include <QtCore/QHash>
#include <QtCore/QIODevice>
#include <QtCore/QString>
#include <QtCore/QXmlStreamWriter>

#include <biz_console/verdict/event_sink.h>

namespace biz::console {

/**
 * Writes a run, at its end, as the JUnit report that continuous integration reads: a test case for
 * each command, which fails when the command did not end as expected.
 */
class JunitSink : public EventSink
{
public:
    /** `suite` is the name of the session. The device is open, and outlives the sink. */
    JunitSink(QIODevice &device, QString suite);

    void started(const RunStart &run) override;
    void happened(const host::Event &event) override;
    void given(const host::Event &event, const Expectation &expected) override;
    void brokeOff(const host::Event &event, RunProblem problem) override;
    void ended(const RunEnd &end) override;

private:
    struct Case
    {
        QString name;
        Expectation expected;
        Events events;
        host::Outcome outcome = host::Outcome::Stopped;
        bool hasEnded = false;
        double roundTripMs = -1.0;
        QString reason;

        bool isAsExpected() const { return hasEnded && expected.isMetBy(outcome, events); }
        bool wasStopped() const { return !hasEnded || outcome == host::Outcome::Stopped; }
    };

    Case *caseOf(host::Ticket ticket);
    void writeCase(QXmlStreamWriter &xml, const Case &told, bool isStopWanted) const;
    void writeRest(QXmlStreamWriter &xml, const RunEnd &end, qint64 mismatches) const;

    QIODevice &m_device;
    QString m_suite;
    QString m_target;
    QDateTime m_utc;
    std::vector<Case> m_cases;
    QHash<host::Ticket, std::size_t> m_placeOfTicket;
    qint64 m_casesNotKept = 0;
    QString m_problem;
};

} // namespace biz::console

#endif
