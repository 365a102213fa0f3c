#include <gtest/gtest.h>

#include <QtCore/QDateTime>

#include <biz_console/summary/osd_table.h>

using namespace biz::console;
namespace host = biz::host;

namespace {

OsdDeviceTotals row(const QString &device, quint64 sent, quint64 answered, double roundTripMs = 1.5)
{
    host::Counters counters;
    counters.enqueued = sent;
    counters.sent = sent;
    counters.answered = answered;
    counters.gaveUp = sent - answered;
    for (quint64 i = 0; i < answered; ++i) {
        counters.roundTrips.add(roundTripMs);
    }
    OsdDeviceTotals row;
    row.device = device;
    row.counters += counters;
    return row;
}

TEST(ConsoleOsdTable, AFewDevicesHaveARowEach)
{
    const QStringList lines = osdTable({row("127.0.0.2", 5, 5), row("127.0.0.3", 5, 0)}, false);
    EXPECT_EQ(lines.join('\n').toStdString(),
              "device                        sent  answered timed out   waiting      median     maximum\n"
              "127.0.0.2                        5         5         0         0      1.5 ms      1.5 ms\n"
              "127.0.0.3                        5         0         5         0           -           -");
}

TEST(ConsoleOsdTable, OfManyDevicesThoseThatAnsweredShareARow)
{
    QVector<OsdDeviceTotals> rows(devicesShownEach, row("127.0.0.2", 5, 5));
    rows.append(row("127.0.0.3", 5, 4));
    const QStringList lines = osdTable(rows, false);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_TRUE(lines[1].startsWith("127.0.0.3 "));
    EXPECT_EQ(lines[2].toStdString(),
              "20 answering devices           100       100         0         0      1.5 ms      1.5 ms");
    EXPECT_EQ(osdTable(rows, true).size(), 22);
}

TEST(ConsoleOsdTable, ASharedRowIsOfAllRoundTripsOfItsDevices)
{
    // The median of the devices' medians would be that of the many idle ones.
    QVector<OsdDeviceTotals> rows(devicesShownEach, row("127.0.0.2", 1, 1, 1.0));
    rows.append(row("127.0.0.3", 1000, 1000, 8.0));
    EXPECT_TRUE(osdTable(rows, false).at(1).endsWith("      8.0 ms      8.0 ms"))
        << qPrintable(osdTable(rows, false).at(1));
}

TEST(ConsoleOsdTable, ADeviceThatWasGivenNothingHasNotAnswered)
{
    EXPECT_FALSE(row("127.0.0.2", 0, 0).allAnswered());
}

TEST(ConsoleOsdTable, TellsSinceWhenADeviceIsSilent)
{
    OsdDeviceTotals silent = row("127.0.0.3", 5, 0);
    silent.isReachable = false;
    EXPECT_TRUE(osdTable({silent}, false).at(1).endsWith("  not reached"));
    silent.silentSinceUtcMs = QDateTime(QDate(2024, 5, 6), QTime(14, 3, 22)).toMSecsSinceEpoch();
    EXPECT_TRUE(osdTable({silent}, false).at(1).endsWith("  silent since 14:03:22"));
}

} // namespace
