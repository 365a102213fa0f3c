#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>

#include <host/device_host.h>
#include <host/metrics.h>

using namespace biz::host;

namespace {

HostMetrics deviceMetrics()
{
    HostMetrics metrics;
    metrics.channel = QStringLiteral("device");
    metrics.link = LinkState::Lost;
    metrics.counters.enqueued = 9;
    metrics.counters.gaveUp = 2;
    metrics.counters.rejectedByRule.insert(QStringLiteral("F1/08: length \"354\" \\ or\nnone"), 3);
    metrics.counters.lastSeenUtcMs = 1778076000500;
    for (const double ms : {0.1, 1.0, 30.0, 90000.0}) {
        metrics.counters.roundTrips.add(ms);
    }
    return metrics;
}

HostMetrics osdMetrics(int devices)
{
    HostMetrics metrics;
    metrics.channel = QStringLiteral("osd");
    for (int i = 0; i < devices; ++i) {
        OsdDeviceStatus device;
        device.ip = QStringLiteral("10.0.%1.%2").arg(i / 250).arg(i % 250 + 1);
        device.reachable = i % 2 == 0;
        metrics.devices.append(device);
    }
    return metrics;
}

/** Whether a line stands in the text. */
bool has(const QByteArray &text, const char *line)
{
    return ('\n' + text).contains('\n' + QByteArray(line) + '\n');
}

TEST(Metrics, TotalsOutcomesAndTheLinkHaveLines)
{
    const QByteArray text = metricsText({deviceMetrics()});
    EXPECT_TRUE(has(text, R"(biz_commands_enqueued_total{channel="device"} 9)"));
    EXPECT_TRUE(has(text, R"(biz_commands_ended_total{channel="device",outcome="gaveUp"} 2)"));
    EXPECT_TRUE(has(text, R"(biz_link_state{channel="device",state="lost"} 1)"));
    EXPECT_TRUE(has(text, R"(biz_link_state{channel="device",state="up"} 0)"));
    EXPECT_TRUE(has(text, R"(biz_last_seen_timestamp_seconds{channel="device"} 1778076000.5)"));
}

TEST(Metrics, HistogramCountsWhatTookLessThanEachBound)
{
    const QByteArray text = metricsText({deviceMetrics()});
    EXPECT_TRUE(has(text, R"(biz_round_trip_seconds_bucket{channel="device",le="0.000128"} 1)"));
    EXPECT_TRUE(has(text, R"(biz_round_trip_seconds_bucket{channel="device",le="0.001024"} 2)"));
    EXPECT_TRUE(has(text, R"(biz_round_trip_seconds_bucket{channel="device",le="0.032768"} 3)"));
    EXPECT_TRUE(has(text, R"(biz_round_trip_seconds_bucket{channel="device",le="67.108864"} 3)"));
    EXPECT_TRUE(has(text, R"(biz_round_trip_seconds_bucket{channel="device",le="+Inf"} 4)"));
    EXPECT_TRUE(has(text, R"(biz_round_trip_seconds_count{channel="device"} 4)"));
}

TEST(Metrics, SumOfTheRoundTripsIsInSeconds)
{
    HostMetrics metrics;
    metrics.channel = QStringLiteral("device");
    metrics.counters.roundTrips.add(30.0);
    EXPECT_TRUE(has(metricsText({metrics}), R"(biz_round_trip_seconds_sum{channel="device"} 0.03)"));
}

TEST(Metrics, TextOfALabelIsEscapedAndShortened)
{
    HostMetrics metrics = deviceMetrics();
    EXPECT_TRUE(metricsText({metrics}).contains(R"(rule="F1/08: length \"354\" \\ or\nnone")"));
    metrics.counters.rejectedByRule = {{QString(5000, QLatin1Char('x')), 1}};
    const QRegularExpression tooLong(QStringLiteral("x{200}"));
    EXPECT_FALSE(tooLong.match(QString::fromUtf8(metricsText({metrics}))).hasMatch());
}

TEST(Metrics, DevicesAndHostsThatHaveLinesAreBoundedAndTheOthersCounted)
{
    const QByteArray ofDevices = metricsText({osdMetrics(1000)});
    EXPECT_EQ(ofDevices.count("\nbiz_osd_device_reachable{"), mostMetricsDevices);
    EXPECT_TRUE(has(ofDevices, R"(biz_osd_devices{channel="osd"} 1000)"));
    const QByteArray ofHosts = metricsText(QVector<HostMetrics>(300, deviceMetrics()));
    EXPECT_EQ(ofHosts.count("\nbiz_commands_sent_total{"), mostMetricsHosts);
    EXPECT_TRUE(has(ofHosts, "biz_hosts_not_listed 44"));
}

TEST(Metrics, FileIsReplacedAsAWholeAndNothingElseIsLeft)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("wall.prom"));
    QString error;
    ASSERT_TRUE(writeMetrics(path, {deviceMetrics()}, &error)) << error.toStdString();
    QFile reader(path); // whoever has the old file open
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
    ASSERT_TRUE(writeMetrics(path, {osdMetrics(1)}, &error)) << error.toStdString();
    EXPECT_TRUE(reader.readAll().contains("channel=\"device\""));
    QFile now(path);
    ASSERT_TRUE(now.open(QIODevice::ReadOnly));
    EXPECT_FALSE(now.readAll().contains("channel=\"device\""));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList(QStringLiteral("wall.prom")));
}

TEST(Metrics, PipeIsWrittenToAndStaysOne)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("wall.prom"));
    ASSERT_EQ(mkfifo(QFile::encodeName(path).constData(), S_IRUSR | S_IWUSR), 0);
    const int reader = open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK);
    QString error;
    EXPECT_TRUE(writeMetrics(path, {deviceMetrics()}, &error)) << error.toStdString();
    char begin[] = "#";
    EXPECT_EQ(read(reader, begin, sizeof begin - 1), static_cast<ssize_t>(sizeof begin - 1));
    close(reader);
    EXPECT_FALSE(QFileInfo(path).isFile());
}

TEST(Metrics, FolderThatIsMissingIsAnError)
{
    QString error;
    EXPECT_FALSE(writeMetrics(QStringLiteral("/nowhere/at/all/wall.prom"), {deviceMetrics()}, &error));
    EXPECT_TRUE(error.startsWith(QStringLiteral("/nowhere/at/all/wall.prom: "))) << error.toStdString();
}

TEST(Metrics, HostsAreAskedForTheirFigures)
{
    DeviceHost device;
    EXPECT_TRUE(has(metricsText({metricsOf(device)}), R"(biz_link_state{channel="device",state="closed"} 1)"));
    OsdHost osd;
    EXPECT_TRUE(has(metricsText({metricsOf(osd)}), R"(biz_osd_devices{channel="osd"} 0)"));
}

TEST(Metrics, CollectorsOwnCheckFindsNothing)
{
    const QString promtool = QStandardPaths::findExecutable(QStringLiteral("promtool"));
    if (promtool.isEmpty()) {
        GTEST_SKIP() << "promtool is not installed";
    }
    const auto complaints = [&promtool](const QByteArray &text) {
        QProcess check;
        check.setProcessChannelMode(QProcess::MergedChannels);
        check.start(promtool, {QStringLiteral("check"), QStringLiteral("metrics")});
        check.write(text);
        check.closeWriteChannel();
        EXPECT_TRUE(check.waitForFinished());
        return check.readAll().toStdString() + (check.exitCode() == 0 ? "" : "exit status");
    };
    EXPECT_NE(complaints("# TYPE a counter\na 1\n"), "") << "a total without help, not named so";
    EXPECT_EQ(complaints(metricsText({deviceMetrics(), osdMetrics(3)})), "");
}

} // namespace
