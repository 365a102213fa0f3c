#include <testkit/command_recorder.h>
#include <testkit/qt_test.h>
#include <testkit/simulated_device.h>
#include <testkit/test_clock.h>

using namespace biz;
using namespace std::chrono_literals;

/** A test of an application in Qt Test, and what its matcher says. */
class QtTestMatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFindingThatHoldsPasses();
    void aFindingThatDoesNotHoldFails();
    void aFindingMayBeTakenOfAVariableOfAnyName();
};

void QtTestMatcher::aFindingThatHoldsPasses()
{
    testkit::TestClock clock;
    testkit::SimulatedDevice device;
    host::DeviceHost host;
    testkit::CommandRecorder recorder(host);
    QVERIFY(host.setLink(device.makeLink()) && host.setModel(QStringLiteral("A2")) && host.start());
    const host::Ticket ticket = host.enqueue(host::makeCommand(0xF1, 0x08));
    clock.advance(1s);
    VERIFY_HOLDS(recorder.endedAs(ticket, host::Outcome::Answered));
    VERIFY_HOLDS(testkit::heard(device, {QStringLiteral("F1/08")}));
}

void QtTestMatcher::aFindingThatDoesNotHoldFails()
{
    QEXPECT_FAIL("", "the matcher fails as it should", Abort);
    VERIFY_HOLDS((testkit::Finding{false, QStringLiteral("it ended otherwise")}));
    QFAIL("the matcher went on");
}

void QtTestMatcher::aFindingMayBeTakenOfAVariableOfAnyName()
{
    const testkit::Finding found;
    VERIFY_HOLDS(found);
}

QTEST_GUILESS_MAIN(QtTestMatcher)

#include "qt_test_matcher_test.moc"
