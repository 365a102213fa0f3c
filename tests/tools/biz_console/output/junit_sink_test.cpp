#include <gtest/gtest.h>

#include <QtCore/QBuffer>

#include <biz_console/output/junit_sink.h>

using namespace biz::console;

namespace {

TEST(JunitSink, CountsTheMismatchesOfCommandsThatItDoesNotList)
{
    constexpr int commands = 100'002;
    QBuffer report;
    report.open(QIODevice::WriteOnly);
    JunitSink sink(report, QStringLiteral("long"));
    biz::host::Event event;
    for (int i = 0; i < commands; ++i) {
        event.ticket = static_cast<biz::host::Ticket>(i + 1);
        event.kind = biz::host::EventKind::Given;
        sink.given(event, Expectation());
        event.kind = i + 1 < commands ? biz::host::EventKind::Answered : biz::host::EventKind::GaveUp;
        sink.happened(event);
    }
    RunEnd end;
    end.mismatchCount = 1;
    sink.ended(end);
    EXPECT_TRUE(report.data().contains("tests=\"100002\" failures=\"1\"")) << report.data().left(300).constData();
    EXPECT_TRUE(report.data().contains("1 of them did not end as expected, 1 of all"));
}

} // namespace
